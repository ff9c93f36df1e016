// Unfinished cleanup of a unit: hardware steps that a rollback or a release could not make.
//
// An operation that throws is rolled back, and a release changes the hardware after the records.
// When one of these SDK calls throws as well, it and the calls after it become steps of the unit's
// cleanup, in order. They run before the unit's next operation, and on request
// (MorvaneTcamGroupManager::finishCleanup).
//
// Invariants: steps are data, so that tools can show them and an auditor can account for them. A
// step is idempotent and is retried until it succeeds. A unit's record exists while it has steps.
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
//   cleanupRemoveEntry         removes the entry from the lookup
//   cleanupUninstallEntry      the same, to undo an installation
//   cleanupRemoveAction        a: the action
//   cleanupClearRule           removes the entry's qualifiers and actions
//   cleanupReinstallEntry      writes the rule of logical entry id into every copy and installs it
//   cleanupRewriteTwin         writes the untagged ports into the twin of logical entry id
//   cleanupEnableEntry         a: 1 enabled, 0 disabled; b: a result code that is tolerated
//   cleanupCopyPriority        sets the entry's priority to that of entry a
//   cleanupDestroyEntries      a entries with ids from id on, the last first; b: their pipe group
//   cleanupAttachPolicer       a: the policer
//   cleanupDetachPolicer       of an entry that has one
//   cleanupDetachAllPolicers   of an entry that may have one
//   cleanupDetachStats         a: the statistics object
//   cleanupDestroyStats        a statistics object
//   cleanupDestroyPolicer
//   cleanupCopyPolicer         sets the policer's configuration to that of policer a
//   cleanupDestroyRange        a range checker
//   cleanupCompressEntries     compresses the groups of all users that have entries
//   cleanupCompressGroup       a pipe group
//   cleanupCompressMarkedGroup a pipe group of which a slice came free
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
  X( cleanupCompressMarkedGroup )    \
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

  // By number; the lowest runs next.
  KIV_VALUES( Kiv::RbTreeMap, U32, CleanupStep, step, Step );
  void append( const CleanupStep & last ) { stepIs( next_++, last ); }

  // Whether the steps are running, and the scope that sets it.
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
