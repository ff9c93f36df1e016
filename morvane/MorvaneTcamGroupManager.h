// Owns the field processor of all switch chips: groups, their counters, and the entry managers.
//
// Order of calls: set Shim::sdk_ and the platform (morvane/Platform.h); construct; fill numPipe and
// modChipInfo; initializedIs( true ) once the hardware is ready. Features then fetch their entry
// manager (entryManager or unboundedEntryManager) and get entries from it. After an SDK
// re-initialisation, doSdkReInit drops all records of lost hardware state and starts up again.
//
// Invariants: a pipe group exists in hardware exactly while its groupCounts record has a
// unitRefCount above 0 on the unit; unitAllocated is the number of hardware entries in it.
// Attributes that are keyed by U8 take the low 8 bits of a group id; start-up asserts that the
// platform's group ids stay below 256.
//
// Failure: an exception from an SDK call leaves the state as before the operation; a release,
// removal or teardown that throws has happened. Hardware steps that could not be made are the
// unit's unfinished cleanup (morvane/UnitCleanup.h) and run before the unit's next operation.
//
// Locks: called with the activity lock held, which is dropped around every SDK call. One activity
// at a time is in an operation; others wait (morvane/Operation.h). Destructors make no SDK calls.
#pragma once

#include <vector>

#include "kiv/Attribute.h"
#include "kiv/Entity.h"
#include "kiv/Export.h"
#include "kiv/HashMap.h"
#include "kiv/PageMap.h"
#include "kiv/Ptr.h"
#include "kiv/RbTreeMap.h"
#include "morvane/GroupCounts.h"
#include "morvane/GroupShape.h"
#include "morvane/MorvaneOvidWarSm.h"
#include "morvane/MorvaneTcamEntryManager.h"
#include "morvane/Platform.h"
#include "morvane/RangeChecker.h"
#include "morvane/TcamIds.h"
#include "morvane/UdfQualifier.h"
#include "morvane/UnitCleanup.h"

namespace Morvane {

class KIV_API MorvaneTcamGroupManager : public GroupShape {
 public:
  struct UnitGroupId : Kiv::Value {
    U32 unit = 0;
    U32 groupId = 0;

    UnitGroupId() = default;
    UnitGroupId( U32 unitNumber, U32 group ) : unit( unitNumber ), groupId( group ) {}

    static constexpr const char * typeName = "Morvane::MorvaneTcamGroupManager::UnitGroupId";
    static constexpr auto fields() {
      return std::make_tuple( Kiv::field( "unit", &UnitGroupId::unit ),
                              Kiv::field( "groupId", &UnitGroupId::groupId ) );
    }
  };

  struct Notifiee : GroupShape::Notifiee {
    virtual void onInitialized() {}
    virtual void onStarted() {}
    virtual void onSimulation() {}
    virtual void onMaxPorts() {}
    virtual void onIpv6MirroringSupported() {}
    virtual void onQosAclSharingSupported() {}
    virtual void onIngressRaclSharingSupported() {}
    virtual void onOpenFlowUdfIpProto() {}
    virtual void onModChipInfo( U16 ) {}
    virtual void onSliceFreed( U32 ) {}
    virtual void onManagedPriority( U32 ) {}
    virtual void onRangeCheckersExhausted( U32 ) {}
    virtual void onUdfResourceError( U8 ) {}
    virtual void onGroupIdToIndex( U32 ) {}
    virtual void onGroupIdToExcludeIndex( const GroupQsetModKey & ) {}
    virtual void onGroupIdToIncludeIndex( const GroupQsetModKey & ) {}
    virtual void onGroupIdToPreselId( const UnitGroupId & ) {}
    virtual void onUnitCleanup( U32 ) {}
    virtual void onGroupMirroringAclValid( U8 ) {}
    virtual void onGroupMirroringAclType( U8 ) {}
    virtual void onGroupMirroringAclUdfValid( U8 ) {}
    virtual void onGroupOpenFlowAclUdfValid( U8 ) {}
    virtual void onGroupOpenFlowVxlanAclUdfValid( U8 ) {}
    virtual void onGroupIdToMirroringAclUdf( U8 ) {}
    virtual void onGroupIdToOpenFlowAclUdf( U8 ) {}
    virtual void onGroupIdToOpenFlowVxlanAclUdf( U8 ) {}
    virtual void onIpMirroringAclUdf( U32 ) {}
    virtual void onMacMirroringAclUdf( U32 ) {}
    virtual void onOpenFlowAclUdf( U32 ) {}
    virtual void onOpenFlowVxlanAclUdf( U32 ) {}
    virtual void onRangeChecker( const RangeCheckerDesc & ) {}
    virtual void onGroupCounts( const GroupIdToPipeGroupId & ) {}
    virtual void onTcamManagerForEntry( U32 ) {}
    virtual void onEntryManager( TcamGroupAssignment ) {}
    virtual void onUnboundedEntryManager( TcamGroupAssignment ) {}
    virtual void onOvidWarSm() {}
  };

  // `ovidUtBitmapDir`: input of the outer-VLAN workaround, filled by the agent at any time; null
  // where no unit needs it.
  // `singleView`: one view of all pipes; loopback redirects then use pipe 0's port only.
  MorvaneTcamGroupManager( const Kiv::Name & name,
                           Kiv::Ptr< const MorvaneOvidUtBitmapDir > ovidUtBitmapDir,
                           bool singleView );
  ~MorvaneTcamGroupManager() override;
  const char * fwkType() const override;

  // --- Attributes ------------------------------------------------------------------------------

  // Constructor parameters.
  KIV_CONST( Kiv::Ptr< const MorvaneOvidUtBitmapDir >, ovidUtBitmapDir, OvidUtBitmapDir );
  KIV_CONST( bool, singleView, SingleView );

  // Set by the agent; every change runs handleInitialized, then notifies.
  bool initialized() const { return initialized_.get(); }
  virtual void initializedIs( bool value );
  virtual void initializedNotify();

 protected:
  Kiv::Scalar< bool > initialized_{
      this, "initialized", false, nullptr,
      []( auto & self, bool value ) { self.initializedIs( value ); } };

 public:
  // Start-up has begun, and has not thrown.
  KIV_SCALAR( bool, started, Started, false );
  // The environment variable SIMULATION_VMID is set.
  KIV_SCALAR( bool, simulation, Simulation, false );
  KIV_SCALAR( U16, maxPorts, MaxPorts, 0 );
  KIV_SCALAR( bool, ipv6MirroringSupported, Ipv6MirroringSupported, false );
  KIV_SCALAR( bool, qosAclSharingSupported, QosAclSharingSupported, false );
  KIV_SCALAR( bool, ingressRaclSharingSupported, IngressRaclSharingSupported, false );
  // IP protocol of the flow-programming UDF qualifier.
  KIV_SCALAR( U8, openFlowUdfIpProto, OpenFlowUdfIpProto, 0 );
  // The units; every loop over units walks this collection.
  KIV_VALUES( Kiv::RbTreeMap, U16, MorvaneCentral::ChipInfo, modChipInfo, ModChipInfo );
  // By group: a slice came free; the group is compressed when it is full.
  KIV_VALUES( Kiv::HashMap, U32, bool, sliceFreed, SliceFreed );
  // By group: the library orders the entries.
  KIV_VALUES( Kiv::HashMap, U32, bool, managedPriority, ManagedPriority );
  // By unit: no range checker is left.
  KIV_VALUES( Kiv::RbTreeMap, U32, bool, rangeCheckersExhausted, RangeCheckersExhausted );
  // By unit: the last UDF did not fit.
  KIV_VALUES( Kiv::RbTreeMap, U8, bool, udfResourceError, UdfResourceError );
  // Index of the group's record in the platform's tables.
  KIV_VALUES( Kiv::HashMap, U32, U32, groupIdToIndex, GroupIdToIndex );
  KIV_VALUES( Kiv::RbTreeMap, GroupQsetModKey, U32, groupIdToExcludeIndex, GroupIdToExcludeIndex );
  KIV_VALUES( Kiv::RbTreeMap, GroupQsetModKey, U32, groupIdToIncludeIndex, GroupIdToIncludeIndex );
  // Preselector by unit and pipe group id.
  KIV_VALUES( Kiv::RbTreeMap, UnitGroupId, U32, groupIdToPreselId, GroupIdToPreselId );
  // By the low 8 bits of a group id.
  KIV_VALUES( Kiv::HashMap, U8, bool, groupMirroringAclValid, GroupMirroringAclValid );
  KIV_VALUES( Kiv::HashMap, U8, S32, groupMirroringAclType, GroupMirroringAclType );
  KIV_VALUES( Kiv::HashMap, U8, bool, groupMirroringAclUdfValid, GroupMirroringAclUdfValid );
  KIV_VALUES( Kiv::HashMap, U8, bool, groupOpenFlowAclUdfValid, GroupOpenFlowAclUdfValid );
  KIV_VALUES( Kiv::HashMap, U8, bool, groupOpenFlowVxlanAclUdfValid,
              GroupOpenFlowVxlanAclUdfValid );
  KIV_MEMBERS( Kiv::HashMap, U8, GroupUdfQual, groupIdToMirroringAclUdf, GroupIdToMirroringAclUdf );
  KIV_MEMBERS( Kiv::HashMap, U8, GroupUdfQual, groupIdToOpenFlowAclUdf, GroupIdToOpenFlowAclUdf );
  KIV_MEMBERS( Kiv::HashMap, U8, GroupUdfQual, groupIdToOpenFlowVxlanAclUdf,
               GroupIdToOpenFlowVxlanAclUdf );
  // UDF qualifiers in hardware, by udfQualKey.
  KIV_VALUES( Kiv::RbTreeMap, U32, UdfUnitSpec, ipMirroringAclUdf, IpMirroringAclUdf );
  KIV_VALUES( Kiv::RbTreeMap, U32, UdfUnitSpec, macMirroringAclUdf, MacMirroringAclUdf );
  KIV_VALUES( Kiv::RbTreeMap, U32, UdfUnitSpec, openFlowAclUdf, OpenFlowAclUdf );
  KIV_VALUES( Kiv::RbTreeMap, U32, UdfUnitSpec, openFlowVxlanAclUdf, OpenFlowVxlanAclUdf );
  KIV_MEMBERS( Kiv::HashMap, RangeCheckerDesc, RangeCheckerData, rangeChecker, RangeChecker );
  // One record per pipe group id, in order of the group word.
  KIV_MEMBERS( Kiv::RbTreeMap, GroupIdToPipeGroupId, GroupCounts, groupCounts, GroupCounts );
  // The manager that owns an entry id, whatever the unit.
  KIV_VALUES( Kiv::PageMap, U32, Kiv::Ptr< MorvaneTcamEntryManager >, tcamManagerForEntry,
              TcamManagerForEntry );
  bool isOwner( const MorvaneTcamEntryManager & user, U32 entry ) const {
    const auto owner = tcamManagerForEntry_.map().find( entry );
    return owner && owner->rawPtr_ == &user;
  }

  // Managers of reservations with and without a size. The operations with parameters get or create;
  // a second call with other parameters throws NameInUseException.
  KIV_MEMBERS( Kiv::RbTreeMap, TcamGroupAssignment, MorvaneBoundedTcamEntryManager, entryManager,
               EntryManager );
  Kiv::Ptr< MorvaneBoundedTcamEntryManager > newEntryManager(
      TcamGroupAssignment assignment, const Kiv::String8 & desc,
      MorvaneTcamGroupManager * groupManager, U32 group, U32 baseEntry, U32 endEntry,
      TcamAllocationStrategy strategy );
  Kiv::ValidPtr< MorvaneBoundedTcamEntryManager > entryManagerIs(
      TcamGroupAssignment assignment, const Kiv::String8 & desc,
      MorvaneTcamGroupManager * groupManager, U32 group, U32 baseEntry, U32 endEntry,
      TcamAllocationStrategy strategy );
  KIV_MEMBERS( Kiv::RbTreeMap, TcamGroupAssignment, MorvaneUnboundedTcamEntryManager,
               unboundedEntryManager, UnboundedEntryManager );
  Kiv::Ptr< MorvaneUnboundedTcamEntryManager > newUnboundedEntryManager(
      TcamGroupAssignment assignment, const Kiv::String8 & desc,
      MorvaneTcamGroupManager * groupManager, U32 group, U32 baseEntry, U32 endEntry,
      TcamAllocationStrategy strategy );
  Kiv::ValidPtr< MorvaneUnboundedTcamEntryManager > unboundedEntryManagerIs(
      TcamGroupAssignment assignment, const Kiv::String8 & desc,
      MorvaneTcamGroupManager * groupManager, U32 group, U32 baseEntry, U32 endEntry,
      TcamAllocationStrategy strategy );
  // Unfinished cleanup by unit; absent when there is none.
  KIV_MEMBERS( Kiv::RbTreeMap, U32, UnitCleanup, unitCleanup, UnitCleanup );
  // Created by start-up where a unit's field processor is shared by all pipes.
  KIV_SCALAR( Kiv::Ptr< MorvaneOvidWarSm >, ovidWarSm, OvidWarSm, nullptr );

  // --- Start-up --------------------------------------------------------------------------------

  // Called when initialized changes. May be called again after an exception.
  void handleInitialized();
  // After an SDK re-initialisation: drops the records of lost hardware state, unfinished cleanup
  // included, then starts up again. UDF, preselector and mirroring attributes stay. Earlier entry
  // managers must not be used (assertion).
  void doSdkReInit();

  // --- Unfinished cleanup ----------------------------------------------------------------------

  // Number of the unit's steps that exceptions have left.
  U32 unfinishedCleanup( U32 unit ) const;
  // Runs them now. An exception of the hardware passes through; the remaining steps stay.
  void finishCleanup( U32 unit );

  // --- Groups ----------------------------------------------------------------------------------

  // Takes one reference on every hardware copy of the group, creating copies that do not exist.
  // False without room in hardware; copies created until then stay until uninitializeGroup.
  bool initializeGroup( U32 unit, U32 group );
  // Releases one reference on every hardware copy, the last copy first: one that this manager's
  // initializeGroup took, otherwise one that an entry manager took and does not use. Never one of
  // a user with entries.
  void uninitializeGroup( U32 unit, U32 groupId );
  // Releases one reference on one hardware copy, whoever took it, and destroys the copy with the
  // last one. `releaseUdf`: also destroys the UDF qualifiers made for the group.
  void uninitializeTcamGroup( U32 unit, U32 pipeGroupId, bool releaseUdf );
  void doStoreGroupPreselId( U32 unit, U32 groupId, U32 preselId );
  void doDestroyGroupPreselId( U32 unit, U32 groupId );

  // Entries that the group can still take on the unit. A group that does not exist is created for
  // the call; 0 when that fails.
  U32 entriesAvailable( U32 unit, U32 groupId );
  // Precedence of the group over others of its stage: its group id, whatever the pipe and copy.
  U32 getGroupPriority( U32 unit, U32 pipeGroupId ) const;
  // Entries that the pipe-0, copy-0 hardware group holds now, used or not; 0 when it does not
  // exist.
  U32 getNumOfTcamEntries( U32 unit, U32 groupId ) const;
  // Reads maxPorts, and ipv6MirroringSupported, from the platform, and returns it.
  U16 getMaxPorts();
  bool getIpv6MirroringSupported();
  // In table order.
  std::vector< const TcamReservation * > getTcamReservationData() const;
  // The entry manager of a reservation; null before start-up.
  Kiv::Ptr< MorvaneTcamEntryManager > managerOf( const TcamReservation & reservation ) const;
  // Traces free and total entries of a pipe group; no SDK call while the trace is off.
  void traceGroupStatus( U32 unit, U32 pipeGroupId ) const;

  // --- Reports ---------------------------------------------------------------------------------

  // Write plain text to a descriptor that the caller keeps open. The report ends without an error
  // when the reader closes its end. `name` is the switch's name in the heading.

  // Every group of the unit with its users; `detail` lists their entries with packets. -1 shows all
  // pipes.
  void showTcamUsage( const Kiv::String8 & name, U32 fd, bool detail, U32 unit, S8 pipe ) const;
  // The text of tcamUsage.
  void showRawTcamUsage( const Kiv::String8 & name, U32 fd, U32 unit ) const;
  // The banks in use and their users, in order of the banks' text.
  void showSummaryTcamUsage( const Kiv::String8 & name, U32 fd, U32 unit ) const;
  // The ASIC's description of one hardware entry; only the heading when it does not exist.
  void showEntryTcamUsage( const Kiv::String8 & name, U32 fd, U32 unit, U32 entryId ) const;
  // Size and room of every slice of every stage; empty for a unit without stages.
  Kiv::String8 tcamUsage( U32 unit ) const;
  // The ASIC's description of a hardware entry or group; empty when it does not exist.
  Kiv::String8 entryDump( U32 unit, U32 entryId ) const;
  Kiv::String8 groupDump( U32 unit, U32 pipeGroupId ) const;

  // --- Clearing counters -----------------------------------------------------------------------

  // Set packets and bytes to 0, in every pipe and copy, of the entries of all users of a group, of
  // all users on a unit, and on all units.
  void clearGroupCounters( U32 unit, U32 group );
  void clearUnitCounters( U32 unit );
  void clearAllCounters();

  // Number of exhausted marks over all entry managers and units, and of a group's; kept by the
  // entry managers.
  U32 exhaustedMarks() const { return exhaustedMarks_; }
  U32 exhaustedMarksOf( U32 group ) const {
    return exhaustedMarks_ == 0 ? 0 : findExhaustedMarks( group );
  }
  void exhaustedMarksInc( U32 group, S32 delta );

  // Whether any hardware copy of the group exists on the unit.
  bool groupExists( U32 unit, U32 groupId ) const;
  // Whether every hardware copy exists.
  bool groupComplete( U32 unit, U32 groupId ) const;

  // --- Range checkers --------------------------------------------------------------------------

  // Hardware id of the checker for `desc` on the unit, for the SDK's range qualifier; takes one
  // reference, which releaseRangeChecker drops. Users of the same interval and flags share one
  // checker. 0, and no reference, when the unit has no checker left: rangeCheckersExhausted( unit )
  // is then true until a checker of the unit is released. Also 0 for a range of outer VLANs on a
  // unit whose field processor is shared by all pipes: use prefixes there, which have twins.
  // doSdkReInit drops all references.
  U32 getRangeChecker( U32 unit, RangeCheckerDesc desc );
  // Drops one reference; the last one on the unit destroys the checker, which no entry may still
  // use. Asserts that there is a reference.
  void releaseRangeChecker( U32 unit, RangeCheckerDesc desc );

  // --- Policers --------------------------------------------------------------------------------

  // A policer limits the rate of the entries that it is attached to (the entry manager's
  // attachPolicer). It is one hardware policer per pipe with the same configuration, so rates and
  // bursts apply per pipe. Clients hold the base id, which is pipe 0's, and remove what they
  // create; no records are kept.
  //
  // `policerCfg` points to a bcm_policer_config_t (rates in kbit/s, bursts in kbit); null is an
  // assertion. The SDK chooses the base id unless the record's flags have BCM_POLICER_WITH_ID. With
  // several pipes that flag is set in the caller's record, and stays. Returns 0 when numPipe is 0.
  U32 createPolicer( U32 unit, U8 * policerCfg ) const;
  // Changes the policer in every pipe.
  void setPolicer( U32 unit, U32 basePolicerId, U8 * policerCfg ) const;
  // Destroys the policer in every pipe, pipe 0 first. It must not be attached to any entry.
  void removePolicer( U32 unit, U32 basePolicerId ) const;
  // The policer of one pipe: the base id with the pipe's bits, or the base id itself on a unit
  // whose pipes share one field processor and its policer ids.
  U32 getPipePolicerId( U32 unit, U32 pipe, U32 basePolicerId ) const;

  // --- User-defined fields of mirroring groups -------------------------------------------------
  //
  // Entry managers call these (setMirroringAclUdf); the agent uses the entry managers.

  // Creates a 4-byte data qualifier and adds it to the group, which must exist on the unit:
  // in place, or by rebuilding the group. `aclType` is Acl::ip() or Acl::mac(); `ethType` counts
  // for MAC ACLs at UdfBaseL2HeaderEnd, 0xFFFFFFFF means none; `offset` counts bytes from the
  // start of the outer L3 header whatever the base. The qualifier starts with one use in the
  // group, or with none after a rebuild (GroupUdfCreateStatus).
  //
  // Assertions: a group without user-defined fields, a length other than 4, another ACL type, a
  // base before the end of the L2 header. An offset above 127 throws RangeException.
  GroupUdfQualApplyStatus createGroupMirroringAclUdf( U32 unit, U32 groupId, S32 aclType,
                                                      U32 ethType, UdfOffsetBase base, U8 offset,
                                                      U8 length );
  // Destroys the group on the unit with all its entries and creates it again with `qualId` and all
  // qualifiers that it carries; all their uses become 0, because the agent adds its rules again.
  // False when that does not fit: then the group and its qualifiers are destroyed, but not
  // `qualId`. The same applies when an SDK call throws.
  bool reInitializeGroupWithMirroringAclUdf( U32 unit, U32 groupId, S32 qualId );
  // Releases the qualifiers of a group that does not exist on the unit; those that no other group
  // carries are destroyed. Forgets the group's ACL type unless the group exists on another unit.
  void uninitializeMirroringUdfQualifiers( U32 unit, U32 groupId );
  // Adds a data qualifier of the unit to a qualifier set; returns the SDK's result code.
  int addUdfQualifierToQset( U32 unit, bcm_field_qset_t * qualifierSet, S32 qualId );

  // --- Flow-programming groups -----------------------------------------------------------------

  // Creates the group on the unit with its data qualifiers, or takes one more reference on it: two
  // fields beyond the L3 header, five inside VXLAN, at the places that openFlowUdfIpProto chooses.
  // False without room in hardware; then nothing stays allocated, and udfResourceError is set.
  // Asserts that the group is a flow-programming group.
  bool createGroupOpenFlowAclUdf( U32 unit, U32 groupId );
  // Destroys the data qualifiers of a group that does not exist on the unit.
  void destroyOpenFlowUdfQualifiers( U32 unit, U32 pipeGroupId );

 private:
  U32 findExhaustedMarks( U32 group ) const;

  U32 exhaustedMarks_ = 0;
  Kiv::HashMap< U32, U32 > groupMarks_;  // the same by group
};

}  // namespace Morvane
