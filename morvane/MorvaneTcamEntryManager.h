// Hands out, programs and releases the TCAM entries of one user.
//
// A feature fetches its manager from the group manager's collection, then for each rule
//   1. getEntry          an entry id, 0 if the TCAM has no room;
//   2. SDK calls         qualifiers and actions on that id (the pipe-0, copy-0 hardware entry);
//   3. installEntry      writes the rule into every pipe and copy;
//   4. ...               priority, enable, statistics, remove and install again;
//   5. releaseEntry      undoes everything.
//
// Invariants: after every operation the unit's UnitEntriesCreated, the group's counters and the
// hardware agree; every hardware copy of an entry holds the same rule from installEntry on. Lower
// entry ids match first, because an entry's default priority is maxPrio minus its id.
//
// Failure: no room is a result (0 or false) and the `exhausted` flag of the unit. Any other SDK
// failure and any misuse (an entry out of range or not handed out, an empty description) ends the
// process.
//
// In a group that needs the outer-VLAN workaround the second copy of an entry is its twin, which
// the library keeps up to date (morvane/MorvaneOvidWarSm.h).
//
// An exception from an SDK call leaves the state as before the operation; a removal or release that
// throws has happened (morvane/UnitCleanup.h).
//
// Locks: called with the activity lock held, which is dropped around every SDK call. One activity
// at a time is in an operation; others wait (morvane/Operation.h).
#pragma once

#include <array>
#include <optional>

#include "kiv/Attribute.h"
#include "kiv/Entity.h"
#include "kiv/Export.h"
#include "kiv/HashMap.h"
#include "kiv/Ptr.h"
#include "kiv/RbTreeMap.h"
#include "kiv/String8.h"
#include "morvane/GroupCounts.h"
#include "morvane/GroupShape.h"
#include "morvane/RangeChecker.h"
#include "morvane/StatTypes.h"
#include "morvane/TcamGroupAssignment.h"
#include "morvane/TcamIds.h"
#include "morvane/UdfQualifier.h"
#include "morvane/UnitEntriesCreated.h"
#include "shim/SdkTypes.h"

namespace Morvane {

class MorvaneTcamGroupManager;

class KIV_API MorvaneTcamEntryManager : public Kiv::Entity {
 public:
  struct Notifiee : Kiv::NotifieeConst {
    virtual void onExhausted( U32 ) {}
    virtual void onInternalUnitEntry( U32 ) {}
    virtual void onMaxPrio() {}
    virtual void onInvalidPrio() {}
    virtual void onAllocateStatsPerEntry() {}
    virtual void onMaxUdfLength() {}
    virtual void onInitialized() {}
  };

  MorvaneTcamEntryManager( const Kiv::Name & name, TcamGroupAssignment assignment,
                           const Kiv::String8 & desc, MorvaneTcamGroupManager * groupManager,
                           U32 group, U32 baseEntry, U32 endEntry,
                           TcamAllocationStrategy strategy );
  ~MorvaneTcamEntryManager() override;
  const char * fwkType() const override;
  const Kiv::OperationTable & operationTable() const override;

  // Constructor parameters.
  KIV_CONST( TcamGroupAssignment, assignment, Assignment );
  KIV_CONST( Kiv::String8, desc, Desc );                               // the reservation's name
  KIV_CONST( MorvaneTcamGroupManager *, groupManager, GroupManager );  // owns this object
  KIV_CONST( U32, group, Group );          // group id without pipe and copy bits
  KIV_CONST( U32, baseEntry, BaseEntry );  // first entry id of the range
  KIV_CONST( U32, endEntry, EndEntry );    // one past the last entry id of the range
  KIV_CONST( TcamAllocationStrategy, strategy, Strategy );

  // By unit: no room for a further entry. Written out instead of generated, because the group
  // manager counts the marks: while there is none, getEntry skips the walk over all managers.
  using ExhaustedIter = Kiv::Values< Kiv::RbTreeMap, U32, bool >::Iter;
  bool exhausted( U32 unit ) const { return exhausted_.get( unit ); }
  virtual void exhaustedIs( U32 unit, bool value );
  virtual bool exhaustedDel( U32 unit );
  virtual bool exhaustedDel( ExhaustedIter & iter ) { return exhaustedDel( U32( iter.key() ) ); }
  virtual void exhaustedDelAll();
  ExhaustedIter exhaustedIter() const { return exhausted_.iter(); }
  ExhaustedIter exhaustedIterConst() const { return exhausted_.iter(); }
  ExhaustedIter exhaustedIteratorConst() const { return exhausted_.iter(); }
  U32 exhaustedSize() const { return exhausted_.size(); }
  bool exhaustedHas( U32 unit ) const { return exhausted_.has( unit ); }
  virtual void exhaustedNotify( U32 unit );

 protected:
  Kiv::Values< Kiv::RbTreeMap, U32, bool > exhausted_{
      this, "exhausted", []( auto & self, U32 unit ) { self.exhaustedNotify( unit ); },
      []( auto & self, U32 unit, bool value ) { self.exhaustedIs( unit, value ); },
      []( auto & self, U32 unit ) { return self.exhaustedDel( unit ); } };

 public:
  KIV_MEMBERS( Kiv::RbTreeMap, U32, UnitEntriesCreated, internalUnitEntry, InternalUnitEntry );
  // Highest priority that the group allows; 0 until it is read from hardware.
  KIV_SCALAR( U32, maxPrio, MaxPrio, 0 );
  // The entry's default priority, in setPriorityForEntry.
  KIV_SCALAR( U32, invalidPrio, InvalidPrio, 0xFFFFFFFF );
  // Every entry gets its own statistics object.
  KIV_SCALAR( bool, allocateStatsPerEntry, AllocateStatsPerEntry, true );
  // Largest user-defined field of the group, in bytes.
  KIV_SCALAR( U8, maxUdfLength, MaxUdfLength, 32 );
  // Start-up of this manager is done.
  KIV_SCALAR( bool, initialized, Initialized, false );

  // Prepares the manager on every unit; called once by the group manager, after construction.
  void handleInitialized();
  // For a start-up that failed: drops every entry, range and group reference of every unit. The
  // hardware steps become unfinished cleanup.
  void releaseRanges();

  // Throws NameInUseException when any parameter differs from the constructor's.
  void requireSameParameters( const Kiv::String8 & desc, MorvaneTcamGroupManager * groupManager,
                              U32 group, U32 baseEntry, U32 endEntry,
                              TcamAllocationStrategy strategy ) const;

  // --- Identifiers and priorities --------------------------------------------------------------

  // Hardware entry of one pipe and copy. The unit is not used.
  U32 getPipeEntryId( U32 unit, U32 pipe, U32 entry, U32 copy ) const;
  // The same pipe's copy 0.
  U32 getBaseCopyEntryId( U32 entryId ) const;
  // maxPrio minus the entry id, modulo 2^32.
  U32 defaultPrio( U32 entry ) const;

  // --- Room ------------------------------------------------------------------------------------

  // Entries that can still be handed out; may mark the unit exhausted.
  U32 entriesAvailable( U32 unit );
  // Logical entries that this manager keeps from other users: the range, or those handed out. 0 for
  // a chunk of which none is handed out, even if it exists.
  U32 entriesAllocated( U32 unit ) const;
  // Creates, or destroys, the whole range. Only for tcamAllocateAsChunk and
  // tcamAllocateAtBeginning. allocateAllEntries is false when a chunk does not fit.
  bool allocateAllEntries( U32 unit );
  void deallocateAllEntries( U32 unit );
  // Sets or clears the exhausted mark of all users of this group; with `sliceFreed`, clearing
  // applies to users of other groups too. A user of tcamAllocateAtBeginning keeps its mark, and so
  // does one of a chunk with entries.
  void setExhausted( U32 unit, bool exhausted, bool sliceFreed );
  void setExhaustedForManager( U32 unit, bool exhausted, U32 forGroup, bool sliceFreed );

  // Creates the group on the unit, or takes one more reference on it. False when it does not fit;
  // then nothing is left.
  bool initializeGroup( U32 unit );
  // Releases the references that initializeGroup took for this user, unless it has entries; then
  // they are released with the last entry.
  void uninitializeGroup( U32 unit );

  // --- Programming -----------------------------------------------------------------------------

  // Writes the rule of the pipe-0, copy-0 entry into every pipe and copy and installs it. Returns
  // 0.
  int installEntry( U32 unit, U32 entry );
  int reinstallEntry( U32 unit, U32 entry );
  // Removes the entry from the hardware lookup, keeping the allocation. Returns 0.
  int removeEntry( U32 unit, U32 entry );
  // Enables or disables every hardware copy; a twin that its rule does not need stays disabled. A
  // negative `toleratedRc` is ignored when the SDK returns it; any other failure ends the process.
  void enableEntry( U32 unit, U32 entry, bool enable, int toleratedRc );
  // Sets the priority of every hardware copy; invalidPrio stands for the default. Returns 0.
  int setPriorityForEntry( U32 unit, U32 entry, U32 priority );
  // Compresses the group's entries in every pipe and copy; does nothing without entries.
  void compressEntries( U32 unit );

  // Undoes getEntry and installEntry. Asserts that the entry is handed out on the unit.
  virtual void releaseEntry( U32 unit, U32 entry );
  // The same; `releaseGroup` false keeps the group's reference when the last entry is released.
  virtual void releaseEntryInternal( U32 unit, U32 entry, bool releaseGroup );

  // --- Input ports and loopback ----------------------------------------------------------------

  // Input ports that the next installEntry writes into every copy of the entry. A permanent store
  // is applied at every installation until it is removed; a temporary one once.
  void inPortsForEntryIs( U32 unit, U32 entry, const bcm_pbmp_t & data, const bcm_pbmp_t & mask,
                          bool permanent );
  void inPortForEntryIs( U32 unit, U32 entry, U32 port, bool permanent );
  // Drops a temporary store; a permanent one survives.
  void removeTcamEntryBcmPbmp( U32 unit, U32 entry );
  // Drops the store of either kind.
  void tcamEntryBcmPbmpForget( U32 unit, U32 entry );
  // Record the input ports of a hardware entry.
  void addInPortsForEntry( U32 unit, U32 tcamEntryId, const bcm_pbmp_t & data,
                           const bcm_pbmp_t & mask );
  void addInPortForEntry( U32 unit, U32 tcamEntryId, U32 port );
  // Reads the input ports of a hardware entry from the ASIC.
  EntryInPorts inPortsForEntry( U32 unit, U32 tcamEntryId ) const;
  // From the next installEntry until the release, matching packets go to `outPorts` and to the
  // loopback port of the pipe that they came by.
  void loopbackRedirectIs( U32 unit, U32 entry, bcm_field_action_t action,
                           const bcm_pbmp_t & outPorts );

  // --- Statistics ------------------------------------------------------------------------------

  // Creates a statistics object in the pipe group and attaches it to the pipe entry. Returns its
  // id, 0 when the ASIC has none left. `statTypes` null means the default types.
  U32 installStats( U32 unit, U32 groupId, U32 entryId, Kiv::Ptr< StatTypes > statTypes );
  // Detaches and destroys the statistics of a pipe entry; only traces when it has none.
  void removeStats( U32 unit, U32 entry );

  // Packets over every pipe and copy. Every reader needs an entry with statistics (assertion).
  U64 hitsForEntry( U32 unit, U32 entry );
  U64 hitsForPipeEntry( U32 unit, U32 pipeEntry );
  // One counter of the given hardware copy.
  U64 byteHitsForEntry( U32 unit, U32 entry );
  U64 greenPktHitsForEntry( U32 unit, U32 entry );
  U64 greenByteHitsForEntry( U32 unit, U32 entry );
  U64 yellowPktHitsForEntry( U32 unit, U32 entry );
  U64 yellowByteHitsForEntry( U32 unit, U32 entry );
  U64 pktDropsForEntry( U32 unit, U32 entry );
  U64 byteDropsForEntry( U32 unit, U32 entry );
  // Set the counters of every pipe and copy to 0; nothing for a group without statistics.
  void clearHitsForEntry( U32 unit, U32 entry );
  void clearBytesForEntry( U32 unit, U32 entry );
  // Both counters, of one entry and of every entry of this user on the unit.
  void clearCountersForEntry( U32 unit, U32 entry );
  void clearCounters( U32 unit );

  // --- Range checkers and policers -------------------------------------------------------------

  // The group manager's shared range checkers (morvane/MorvaneTcamGroupManager.h): 0 when the unit
  // has none left. An entry refers to a checker by the SDK's range qualifier; release the checker
  // after the entry is released, or installed without it.
  U32 getRangeChecker( U32 unit, RangeCheckerDesc desc );
  void releaseRangeChecker( U32 unit, RangeCheckerDesc desc );
  // No range checker is left on the unit.
  bool rangeCheckersExhausted( U32 unit ) const;

  // Attaches the group manager's policer `basePolicerId` to every hardware copy of the entry, each
  // to that of its own pipe, or detaches it. An entry has at most one; releasing the entry detaches
  // it. `basePolicerId` names the attached policer also to detach it.
  void attachPolicer( U32 unit, U32 entry, U32 basePolicerId, bool attach ) const;

  // --- User-defined fields of mirroring groups -------------------------------------------------
  //
  // A rule that matches on a user-defined field: initializeGroup (the group must exist on the
  // unit), setMirroringAclUdf with add, then entries as for any rule, qualified on the id that was
  // returned. To delete the rule: release its entries, then setMirroringAclUdf without add. After
  // udfCreateSuccessWithGroupRecreate add all rules of the group again, this one included, starting
  // with their setMirroringAclUdf.
  //
  // `aclType` is Acl::ip() or Acl::mac() (assertion). `ethType`: ether type that the field belongs
  // to, 0xFFFFFFFF for any; IPv4 ACLs share fields whatever it is. `base` and `offset`: where the
  // field starts, in bytes; throws RangeException when the field lies further than 127 bytes past
  // the start of the L3 header. `length`: bytes, 4 (assertion when the field is new).

  // Adds or removes one use of a field by a rule of this group. Removing the last use in all groups
  // destroys the field's qualifier. Removing a use that the group does not have changes nothing.
  GroupUdfQualApplyStatus setMirroringAclUdf( U32 unit, S32 aclType, U32 ethType,
                                              UdfOffsetBase base, U8 offset, U8 length, bool add );
  // The data-qualifier id of a field that some group on the unit uses; -1 when there is none.
  S32 getMirroringAclUdf( U32 unit, S32 aclType, U32 ethType, UdfOffsetBase base, U8 offset,
                          U8 length ) const;
  // Asserts that the ASIC holds the field's qualifier as it was programmed; nothing for a field
  // that is not programmed.
  void verifyMirroringAclUdf( U32 unit, S32 aclType, U32 ethType, UdfOffsetBase base, U8 offset,
                              U8 length ) const;

 protected:
  // The allocator behind every getEntry. `entry` is an entry id of the range, or anyEntry.
  U32 getEntryBase( U32 unit, U32 entry, const Kiv::String8 & desc,
                    const Kiv::Ptr< StatTypes > & statTypes );

 public:
  // --- For the library, and for auditors -------------------------------------------------------

  // The records of a unit; asserts that they exist.
  const Kiv::Ptr< UnitEntriesCreated > & unitEntries( U32 unit ) const {
    // Cached records that were deleted from the collection have no parent.
    if ( lastUnit_ != unit || !lastEntries_ || lastEntries_->parent() != this ) [[unlikely]]
      findUnitEntries( unit );
    return lastEntries_;
  }
  // The walk over the hardware copies of this user's entries.
  PipeCopies copies( U32 unit ) const {
    if ( !walk_ || walk_->unit() != unit ) [[unlikely]]
      findCopies( unit );
    return *walk_;
  }
  // The counter records of one of them.
  GroupCounts & countsOf( const PipeCopy & at ) const {
    const U32 index = at.pipe * 2 + at.copy;
    const Kiv::Ptr< GroupCounts > & counts = counts_[ index ];
    // A cached record that was deleted from the collection has no parent.
    if ( !counts || !counts->parent() || countsGroup_[ index ] != at.pipeGroup ) [[unlikely]]
      findCounts( index, at.pipeGroup );
    return *counts;
  }
  // Whether its entries are created in advance, all at once.
  bool holdsRange() const {
    return strategy() == tcamAllocateAtBeginning || strategy() == tcamAllocateAsChunk;
  }

 private:
  // Fill the caches below.
  void findUnitEntries( U32 unit ) const;
  void findCopies( U32 unit ) const;
  void findCounts( U32 index, U32 pipeGroup ) const;

  // The walk and the records of the last unit, cached for the next operation.
  mutable std::optional< PipeCopies > walk_;
  mutable Kiv::Ptr< UnitEntriesCreated > lastEntries_;
  mutable U32 lastUnit_ = 0;
  // The counter records of the group's copies, cached.
  mutable std::array< Kiv::Ptr< GroupCounts >, copiesMax > counts_;
  mutable std::array< U32, copiesMax > countsGroup_{};
};

// A user with a range of entry ids; the caller chooses the id, and with it the order of matching.
class KIV_API MorvaneBoundedTcamEntryManager : public MorvaneTcamEntryManager {
 public:
  using MorvaneTcamEntryManager::MorvaneTcamEntryManager;
  ~MorvaneBoundedTcamEntryManager() override;
  const char * fwkType() const override;
  const Kiv::OperationTable & operationTable() const override;

  // Hands out `entry`, which must lie in the range (assertion), at its default priority. `desc`
  // must not be empty (assertion). 0 when the entry is taken or there is no room. getEntry counts
  // packets and bytes.
  U32 getEntry( U32 unit, U32 entry, const Kiv::String8 & desc );
  U32 getEntryWithStats( U32 unit, U32 entry, const Kiv::String8 & desc,
                         const Kiv::Ptr< StatTypes > & statTypes );
};

// A user without a range; the SDK chooses the id, and the caller the priority.
class KIV_API MorvaneUnboundedTcamEntryManager : public MorvaneTcamEntryManager {
 public:
  using MorvaneTcamEntryManager::MorvaneTcamEntryManager;
  ~MorvaneUnboundedTcamEntryManager() override;
  const char * fwkType() const override;
  const Kiv::OperationTable & operationTable() const override;

  // Hands out an entry. `desc` must not be empty (assertion). 0 when there is no room.
  U32 getEntry( U32 unit, const Kiv::String8 & desc );
  U32 getEntryWithStats( U32 unit, const Kiv::String8 & desc,
                         const Kiv::Ptr< StatTypes > & statTypes );
};

}  // namespace Morvane
