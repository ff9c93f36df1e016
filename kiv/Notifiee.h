// NotifieeConst: base of the observers of an entity.
//
//   class Watcher : public RangeCheckerData::Notifiee {
//     void onUnitId( U32 unit ) override { ... }        // runs after the change
//   };
//   watcher.notifierIs( data );        // register
//   watcher.notifierIs( nullptr );     // unregister
//
// Invariants: an observer owns nothing of its notifier: registering adds no reference, and the
// death of either side ends the link, also while notifications are off. Observers are visited in
// the order of registration. During a visit any observer may register, unregister or delete itself
// and others; one that registers during a visit is not part of it. What a callback throws goes to
// its observer's onNotificationException, also after it unregistered; if the callback deleted its
// observer, the default report is written. The others are still visited, and the change is kept.
//
// Locks: callbacks run in the activity that made the change.
#pragma once

#include <exception>

#include "kiv/Export.h"
#include "kiv/Ptr.h"

namespace Kiv {

class Entity;
struct EntityVisit;

class KIV_API NotifieeConst {
 public:
  NotifieeConst() = default;
  NotifieeConst( const NotifieeConst & ) = delete;
  NotifieeConst & operator=( const NotifieeConst & ) = delete;
  virtual ~NotifieeConst();

  // Watches another entity from now on; null watches nothing.
  void notifierIs( const Ptr< const Entity > & notifier );
  // Null when there is none, or it died.
  const Entity * notifier() const { return notifier_; }

  // Whether notifications are on. Turning them off keeps the notifier; turning them on without a
  // notifier does nothing.
  bool isRegisteredNotifiee() const { return registered_; }
  void isRegisteredNotifieeIs( bool registered );

  // The notifier is about to be deleted and still complete. The link ends by itself after it.
  virtual void onZeroReferences();

  // A callback of this observer threw. attribute is the attribute's name. Default: one line on
  // standard error. What this throws in turn is reported on standard error and dropped.
  virtual void onNotificationException( const char * attribute,
                                        const std::exception_ptr & exception );

 private:
  friend class Entity;
  friend struct EntityVisit;

  const Entity * notifier_ = nullptr;
  bool registered_ = false;
  NotifieeConst * next_ = nullptr;
  NotifieeConst * previous_ = nullptr;  // the first one's is the last one
  EntityVisit * calls_ = nullptr;  // the calls of this observer that are under way, inner first
};

}  // namespace Kiv
