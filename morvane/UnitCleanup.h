// What the hardware of a unit still holds although the records do not: unfinished cleanup.
//
// An operation that an SDK call's exception ends takes back what it has done, and a release takes
// things from the hardware after it has removed them from the records. When an SDK call of that
// throws as well, the call and those after it become steps of the unit's cleanup, in the order in
// which they are to be made. They are made before the unit's next operation, and on request
// (MorvaneTcamGroupManager::finishCleanup).
//
// Invariants: steps are data, so that tools can show them and an auditor can account for them. Each
// is one change of the hardware that may be tried until it succeeds. A unit's record exists while
// it has steps.
//
// Locks: the activity lock. Only the library writes; others read.
#pragma once

#include "kiv/Attribute.h"
#include "kiv/Entity.h"
#include "kiv/Enum.h"
#include "kiv/Export.h"
#include "kiv/RbTreeMap.h"
#include "kiv/ValueType.h"

namespace Morvane {

using namespace Kiv::Integers;

// What a step does to the object `id`; a and b are its arguments.
//   cleanupRemoveEntry         takes the entry out of the lookup
//   cleanupUninstallEntry      the same, of an installation that is undone
//   cleanupRemoveAction        a: the action that the entry loses
//   cleanupClearRule           removes the entry's qualifiers and actions
//   cleanupReinstallEntry      writes the rule of logical entry id into every copy and installs it
//   cleanupRewriteTwin         gives the twin of logical entry id the ports that the bitmaps say
//   cleanupEnableEntry         a: 1 enabled, 0 disabled; b: a result code that is tolerated
//   cleanupCopyPriority        gives the entry the priority of entry a
//   cleanupDestroyEntries      a entries with ids from id on, the last first; b: their pipe group
//   cleanupAttachPolicer       a: the policer that the entry gets
//   cleanupDetachPolicer       the entry has one
//   cleanupDetachAllPolicers   whether the entry has any or not
//   cleanupDetachStats         a: the statistics object that the entry loses
//   cleanupDestroyStats        a statistics object
//   cleanupDestroyPolicer
//   cleanupCopyPolicer         gives the policer the configuration of policer a
//   cleanupDestroyRange        a range checker
//   cleanupCompressEntries     compresses the groups of all users that have entries
//   cleanupCompressGroup       a pipe group
//   cleanupDestroyGroup        a pipe group
//   cleanupDestroyPreselector
//   cleanupNarrowGroup         removes data qualifier a from the qualifier set of a pipe group
//   cleanupDeleteFormat        of data qualifier id; a: its base, b: its ether type
//   cleanupDestroyQualifier    a data qualifier
//   cleanupDeleteFlowFormat    of data qualifier id of a flow-programming group
//   cleanupDestroyFlowQualifier  such a data qualifier
#define MORVANE_CLEANUP_ACTIONS( X ) \
  X( cleanupRemoveEntry )            \
  X( cleanupUninstallEntry )         \
  X( cleanupRemoveAction )           \
  X( cleanupClearRule )              \
  X( cleanupReinstallEntry )         \
  X( cleanupRewriteTwin )            \
  X( cleanupEnableEntry )            \
  X( cleanupCopyPriority )           \
  X( cleanupDestroyEntries )         \
  X( cleanupAttachPolicer )          \
  X( cleanupDetachPolicer )          \
  X( cleanupDetachAllPolicers )      \
  X( cleanupDetachStats )            \
  X( cleanupDestroyStats )           \
  X( cleanupDestroyPolicer )         \
  X( cleanupCopyPolicer )            \
  X( cleanupDestroyRange )           \
  X( cleanupCompressEntries )        \
  X( cleanupCompressGroup )          \
  X( cleanupDestroyGroup )           \
  X( cleanupDestroyPreselector )     \
  X( cleanupNarrowGroup )            \
  X( cleanupDeleteFormat )           \
  X( cleanupDestroyQualifier )       \
  X( cleanupDeleteFlowFormat )       \
  X( cleanupDestroyFlowQualifier )

KIV_ENUM( CleanupAction, MORVANE_CLEANUP_ACTIONS );

struct CleanupStep : Kiv::Value {
  CleanupAction action = cleanupRemoveEntry;
  U32 id = 0;
  U32 a = 0;
  U32 b = 0;

  CleanupStep() = default;
  CleanupStep( CleanupAction what, U32 object, U32 first = 0, U32 second = 0 )
      : action( what ), id( object ), a( first ), b( second ) {}

  static constexpr const char * typeName = "Morvane::CleanupStep";
  static constexpr auto fields() {
    return std::make_tuple(
        Kiv::field( "action", &CleanupStep::action ), Kiv::field( "id", &CleanupStep::id ),
        Kiv::field( "a", &CleanupStep::a ), Kiv::field( "b", &CleanupStep::b ) );
  }
};

class KIV_API UnitCleanup : public Kiv::Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onStep( U32 ) {}
  };

  explicit UnitCleanup( const Kiv::Name & name ) : Kiv::Entity( name ) {}
  const char * fwkType() const override { return "Morvane::UnitCleanup"; }

  // By number; the lowest is made next.
  KIV_VALUES( Kiv::RbTreeMap, U32, CleanupStep, step, Step );
  void append( const CleanupStep & last ) { stepIs( next_++, last ); }

  // Whether the steps are being made now, and the scope in which they are.
  bool underWay() const { return underWay_; }
  class Making {
   public:
    explicit Making( UnitCleanup & cleanup ) : cleanup_( cleanup ) { cleanup_.underWay_ = true; }
    ~Making() { cleanup_.underWay_ = false; }
    Making( const Making & ) = delete;
    Making & operator=( const Making & ) = delete;

   private:
    UnitCleanup & cleanup_;
  };

 private:
  U32 next_ = 0;
  bool underWay_ = false;
};

}  // namespace Morvane
