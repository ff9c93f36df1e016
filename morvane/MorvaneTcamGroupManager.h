// Owns the field processor of all switch chips: groups, their counters, and the entry managers.
//
// Order of calls: set Shim::sdk_ and the platform (morvane/Platform.h); construct; fill numPipe and
// modChipInfo; initializedIs( true ) once the hardware is ready. Features then fetch their entry
// manager (entryManager or unboundedEntryManager) and ask it for entries. After the SDK was
// re-initialised, doSdkReInit drops everything that hardware has forgotten and starts up again.
//
// Invariants: a pipe group exists in hardware exactly while its groupCounts record has a
// unitRefCount above 0 on the unit; unitAllocated is the number of hardware entries in it.
// Attributes that are keyed by U8 take the low 8 bits of a group id; start-up asserts that the
// platform's group ids stay below 256.
//
// Failure: an exception from an SDK call leaves everything as it was before the operation; a
// release, a removal or a teardown has happened all the same. What hardware still holds is then the
// unit's unfinished cleanup (morvane/UnitCleanup.h), and is done before the unit's next operation.
//
// Locks: called with the activity lock held, which is dropped around every SDK call. One activity
// at a time is in an operation; others wait (morvane/Operation.h). Destructors make no SDK calls.
#pragma once

#include <vector>

#include "kiv/Attribute.h"
#include "kiv/Entity.h"
#include "kiv/Export.h"
#include "kiv/HashMap.h"
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

  // `ovidUtBitmapDir` feeds the outer-VLAN workaround; the agent may fill it before and after. It
  // may be null where no unit needs it.
  // `singleView`: one view of all pipes; loopback then goes through pipe 0's port only.
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
  // Start-up has begun: the tables of this manager are being filled, or are.
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
  // By group: a slice came free; groups are compressed when room is short.
  KIV_VALUES( Kiv::HashMap, U32, bool, sliceFreed, SliceFreed );
  // By group: the library orders the entries.
  KIV_VALUES( Kiv::HashMap, U32, bool, managedPriority, ManagedPriority );
  // By unit: no range checker is left.
  KIV_VALUES( Kiv::RbTreeMap, U32, bool, rangeCheckersExhausted, RangeCheckersExhausted );
  // By unit: the UDF that was programmed last had no room.
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
  KIV_VALUES( Kiv::HashMap, U32, Kiv::Ptr< MorvaneTcamEntryManager >, tcamManagerForEntry,
              TcamManagerForEntry );

  // Managers of reservations with a size, and of those without. The operations with parameters get
  // or create; a second call with other parameters throws NameInUseException.
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
  // By unit: what its hardware still has to lose; absent when there is nothing.
  KIV_MEMBERS( Kiv::RbTreeMap, U32, UnitCleanup, unitCleanup, UnitCleanup );
  // Created by start-up where a unit's field processor is shared by all pipes.
  KIV_SCALAR( Kiv::Ptr< MorvaneOvidWarSm >, ovidWarSm, OvidWarSm, nullptr );

  // --- Start-up --------------------------------------------------------------------------------

  // Runs by itself when initialized changes. When it throws, it may be run again.
  void handleInitialized();
  // After an SDK re-initialisation: forgets what hardware has forgotten, unfinished cleanup
  // included, then starts up again. UDF, preselector and mirroring attributes stay. Entry managers
  // from before must not be used again (assertion).
  void doSdkReInit();

  // --- Unfinished cleanup ----------------------------------------------------------------------

  // Steps that exceptions have left for the unit.
  U32 unfinishedCleanup( U32 unit ) const;
  // Makes them now; what hardware throws passes through, and the rest stays.
  void finishCleanup( U32 unit );

  // --- Groups ----------------------------------------------------------------------------------

  // Takes one reference on every hardware copy of the group, creating what does not exist. False
  // when hardware has no room; copies that were created before stay until uninitializeGroup.
  bool initializeGroup( U32 unit, U32 group );
  // Releases one reference on every hardware copy, the last copy first: one that this manager's
  // initializeGroup took, otherwise one that an entry manager took and does not use. References of
  // users with entries stay: there is nothing to release then.
  void uninitializeGroup( U32 unit, U32 groupId );
  // Releases one reference on one hardware copy, whoever took it, and destroys the copy when that
  // was the last. `releaseUdf`: the UDF qualifiers made for the group go with it.
  void uninitializeTcamGroup( U32 unit, U32 pipeGroupId, bool releaseUdf );
  void doStoreGroupPreselId( U32 unit, U32 groupId, U32 preselId );
  void doDestroyGroupPreselId( U32 unit, U32 groupId );

  // How many entries the group can still take on the unit, creating it for the question if need be;
  // 0 when it cannot be created.
  U32 entriesAvailable( U32 unit, U32 groupId );
  // Precedence of the group over others of its stage: its group id, whatever the pipe and copy.
  U32 getGroupPriority( U32 unit, U32 pipeGroupId ) const;
  // Entries that the pipe-0, copy-0 hardware group holds now, used or not; 0 when it does not
  // exist.
  U32 getNumOfTcamEntries( U32 unit, U32 groupId ) const;
  // Reads maxPorts, and ipv6MirroringSupported, from the platform, and returns it.
  U16 getMaxPorts();
  bool getIpv6MirroringSupported();
  // The platform's reservations, in table order.
  std::vector< const TcamReservation * > getTcamReservationData() const;
  // The entry manager of a reservation; null before start-up.
  Kiv::Ptr< MorvaneTcamEntryManager > managerOf( const TcamReservation & reservation ) const;
  // Traces free and total entries of a pipe group; no SDK call while the trace is off.
  void traceGroupStatus( U32 unit, U32 pipeGroupId ) const;

  // --- Reports ---------------------------------------------------------------------------------

  // Each writes plain text to a descriptor that the caller opened and keeps; a reader that goes
  // away ends the text, quietly. `name` is the switch's name in the heading.

  // Every group of the unit with its users; `detail` lists their entries with packets. `pipe`
  // leaves out what other pipes hold; -1 shows all.
  void showTcamUsage( const Kiv::String8 & name, U32 fd, bool detail, U32 unit, S8 pipe ) const;
  // The text of tcamUsage.
  void showRawTcamUsage( const Kiv::String8 & name, U32 fd, U32 unit ) const;
  // The banks in use and their users, in order of the banks' text.
  void showSummaryTcamUsage( const Kiv::String8 & name, U32 fd, U32 unit ) const;
  // What the ASIC says of one hardware entry; the heading only, when it knows none.
  void showEntryTcamUsage( const Kiv::String8 & name, U32 fd, U32 unit, U32 entryId ) const;
  // Size and room of every slice of every stage; empty for a unit without stages.
  Kiv::String8 tcamUsage( U32 unit ) const;
  // A hardware entry, or a hardware group, as the ASIC describes it; empty when it knows none.
  Kiv::String8 entryDump( U32 unit, U32 entryId ) const;
  Kiv::String8 groupDump( U32 unit, U32 pipeGroupId ) const;

  // --- Clearing counters -----------------------------------------------------------------------

  // Set packets and bytes to 0, in every pipe and copy, of the entries of all users of a group, of
  // all users on a unit, and on all units.
  void clearGroupCounters( U32 unit, U32 group );
  void clearUnitCounters( U32 unit );
  void clearAllCounters();

  // Marks of exhaustion over all entry managers and units; kept by the entry managers.
  U32 exhaustedMarks() const { return exhaustedMarks_; }
  void exhaustedMarksInc( S32 delta ) { exhaustedMarks_ += static_cast< U32 >( delta ); }

  // Whether any hardware copy of the group exists on the unit.
  bool groupExists( U32 unit, U32 groupId ) const;
  // Whether all of them exist.
  bool groupComplete( U32 unit, U32 groupId ) const;

  // --- Range checkers --------------------------------------------------------------------------

  // Hardware id of the checker for `desc` on the unit, for the SDK's range qualifier; takes one
  // reference, which releaseRangeChecker drops. Users of the same interval and flags share one
  // checker. 0, and no reference, when the unit has no checker left: rangeCheckersExhausted( unit )
  // is true then, until a checker of the unit is released. Also 0 for a range of outer VLANs on a
  // unit whose field processor is shared by all pipes: use prefixes there, which have twins. Ends
  // with doSdkReInit: ask again.
  U32 getRangeChecker( U32 unit, RangeCheckerDesc desc );
  // Drops one reference; the last one on the unit destroys the checker, which no entry may use any
  // more. Releasing what was not taken is an assertion.
  void releaseRangeChecker( U32 unit, RangeCheckerDesc desc );

  // --- Policers --------------------------------------------------------------------------------

  // A policer limits the rate of the entries that it is attached to (the entry manager's
  // attachPolicer). Every pipe has its own, all made alike; a client holds the base id, which is
  // pipe 0's. Nothing of them is kept here: what was made is removed by its client. Rates and
  // bursts hold in each pipe by itself.
  //
  // `policerCfg` points to a bcm_policer_config_t (rates in kbit/s, bursts in kbit); null is an
  // assertion. The SDK chooses the base id unless the record's flags have BCM_POLICER_WITH_ID. With
  // several pipes that flag is set in the caller's record, and stays. Returns 0 when numPipe is 0.
  U32 createPolicer( U32 unit, U8 * policerCfg ) const;
  // Changes the policer in every pipe.
  void setPolicer( U32 unit, U32 basePolicerId, U8 * policerCfg ) const;
  // Destroys the policer in every pipe, pipe 0 first; it must be attached to no entry any more.
  void removePolicer( U32 unit, U32 basePolicerId ) const;
  // The policer of one pipe: the base id with the pipe's bits, or the base id itself on a unit
  // whose pipes share one field processor, and with it one space of policer ids.
  U32 getPipePolicerId( U32 unit, U32 pipe, U32 basePolicerId ) const;

  // --- User-defined fields of mirroring groups -------------------------------------------------
  //
  // Entry managers call these (setMirroringAclUdf); the agent uses the entry managers.

  // Creates a 4-byte data qualifier and lets the group, which must exist on the unit, match on it:
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
  // qualifiers that it carries; all their uses become 0, for the agent to add its rules again.
  // False when that does not fit: then the group and its qualifiers are destroyed, but not
  // `qualId`. The same holds when an SDK call throws.
  bool reInitializeGroupWithMirroringAclUdf( U32 unit, U32 groupId, S32 qualId );
  // Releases the qualifiers of a group that does not exist on the unit; those that no other group
  // carries are destroyed. Forgets the group's ACL type unless the group exists on another unit.
  void uninitializeMirroringUdfQualifiers( U32 unit, U32 groupId );
  // Adds a data qualifier of the unit to a qualifier set; returns the SDK's result code.
  int addUdfQualifierToQset( U32 unit, bcm_field_qset_t * qualifierSet, S32 qualId );

  // --- Flow-programming groups -----------------------------------------------------------------

  // Creates the group on the unit with its data qualifiers, or takes one more reference on it: two
  // fields beyond the L3 header, five inside VXLAN, at the places that openFlowUdfIpProto chooses.
  // False when hardware has no room; then nothing is left, and udfResourceError is set. Asserts
  // that the group is a flow-programming group.
  bool createGroupOpenFlowAclUdf( U32 unit, U32 groupId );
  // Destroys the data qualifiers of a group that does not exist on the unit.
  void destroyOpenFlowUdfQualifiers( U32 unit, U32 pipeGroupId );

 private:
  U32 exhaustedMarks_ = 0;
};

}  // namespace Morvane
