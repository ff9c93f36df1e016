// The platform's part: the group tables of the switch model and the records of its chips.
//
// The agent implements PlatformTables once (the sample agent does so from a JSON file) and sets it
// with platformIs before it constructs the group manager. The library reads the tables through the
// plain functions below and nowhere else.
//
// Invariants: record addresses and counts do not change while a group manager lives. Qualifier
// lists are SDK qualifier numbers (shim/SdkQualifiers.h) and end with bcmFieldQualifyCount. The
// rules between the tables are those of morvane/PlatformCheck.h; start-up asserts them.
//
// Locks: none; the functions are called on the agent's activity thread with the activity lock held.
#pragma once

#include "kiv/Export.h"
#include "kiv/Types.h"
#include "kiv/ValueType.h"
#include "morvane/TcamGroupAssignment.h"
#include "shim/SdkTypes.h"

namespace Morvane {

// One group of the platform and the fields that it can match on.
struct TcamGroup {
  U32 group;               // group id, below 256
  const U32 * qualifiers;  // ended by bcmFieldQualifyCount
};

// The share of one TCAM user. Start-up overwrites `group` from the group map.
struct TcamReservation {
  const char * name;               // shown in reports
  TcamGroupAssignment assignment;  // at most one reservation each
  U32 group;                       // group id
  U32 size;                        // entries; 0 exactly with tcamAllocateUnbounded
  bool managedPriority;            // this library, not the SDK, orders the group's entries
  bool mirroringAclUdf;            // user-defined fields wanted (mirroring groups only)
  bool noStatsPerEntry;  // no statistics object per entry; needs noStatsPerEntryGroup( group )
  TcamAllocationStrategy strategy;
};

// Group of a user on one chip type.
struct TcamGroupMap {
  S32 chipType;
  TcamGroupAssignment assignment;
  U32 group;
};

// Qualifiers that a chip type removes from a group, or adds to it.
struct TcamGroupQualifiers {
  U16 group;
  U16 chipType;
  const U32 * qualifiers;  // ended by bcmFieldQualifyCount
};

namespace MorvaneCentral {

// Properties of one switch chip.
struct ChipInfo {
  U16 maxPorts;        // ports of the chip
  bool multicastWar;   // groups that request it keep a multicast entry above every rule
  bool qualifierSwap;  // a group that matches the outer VLAN but no port: swapTo replaces swapFrom
  U32 swapFrom;        // qualifier number
  U32 swapTo;          // qualifier number
  U32 extraQualifier;  // added to every group on the chip; 0 means none
  bool excludeTtl;     // the chip's keys have no TTL
  bool excludeRangeChecks;  // the chip's keys have no range checker results

  static constexpr const char * typeName = "Morvane::MorvaneCentral::ChipInfo";
  static constexpr auto fields() {
    return std::make_tuple( Kiv::field( "maxPorts", &ChipInfo::maxPorts ),
                            Kiv::field( "multicastWar", &ChipInfo::multicastWar ),
                            Kiv::field( "qualifierSwap", &ChipInfo::qualifierSwap ),
                            Kiv::field( "swapFrom", &ChipInfo::swapFrom ),
                            Kiv::field( "swapTo", &ChipInfo::swapTo ),
                            Kiv::field( "extraQualifier", &ChipInfo::extraQualifier ),
                            Kiv::field( "excludeTtl", &ChipInfo::excludeTtl ),
                            Kiv::field( "excludeRangeChecks", &ChipInfo::excludeRangeChecks ) );
  }
  friend bool operator==( const ChipInfo &, const ChipInfo & ) = default;
};

// Settings of the agent for all chips.
struct Attributes {
  bool ipv6MirroringSupported;
  bool qosAclSharingSupported;
  bool ingressRaclSharingSupported;
  bool allocAtBeginning;  // create ranges at start-up, subject to doAllocAtBeginning
  bool pdpModeEnabled;
  bool dumpEntries;  // with dumpNewEntries: dump every entry that is handed out
  bool dumpNewEntries;
};

}  // namespace MorvaneCentral

// Results of the SDK's per-unit queries that decide how groups are built.
struct ChipProperties {
  bool sharedByPipes = false;       // one field processor serves all pipes
  bool secondCopy = false;          // every pipe keeps a second copy of its ingress tables
  bool groupByPreselector = false;  // ingress groups are selected by preselector
};

// One stage's tables on one unit.
struct TcamCapacityKey : Kiv::Value {
  U32 unit = 0;
  S32 stage = 0;  // 0 IFP, 1 VFP, 2 EFP, 3 EXT, 4 EXACT, 5 CLASS

  TcamCapacityKey() = default;
  TcamCapacityKey( U32 ofUnit, S32 ofStage ) : unit( ofUnit ), stage( ofStage ) {}

  static constexpr const char * typeName = "Morvane::TcamCapacityKey";
  static constexpr auto fields() {
    return std::make_tuple( Kiv::field( "unit", &TcamCapacityKey::unit ),
                            Kiv::field( "stage", &TcamCapacityKey::stage ) );
  }
};

// Its use, in entries.
struct TcamCapacityRow : Kiv::Value {
  U32 used = 0;
  U32 free = 0;
  U32 maxLimit = 0;
  U32 highWatermark = 0;  // maximum of `used` over all polls

  static constexpr const char * typeName = "Morvane::TcamCapacityRow";
  static constexpr auto fields() {
    return std::make_tuple( Kiv::field( "used", &TcamCapacityRow::used ),
                            Kiv::field( "free", &TcamCapacityRow::free ),
                            Kiv::field( "maxLimit", &TcamCapacityRow::maxLimit ),
                            Kiv::field( "highWatermark", &TcamCapacityRow::highWatermark ) );
  }
};

// The agent's capacity table of all its resources. Called on changes only.
class KIV_API TcamCapacityTable {
 public:
  virtual ~TcamCapacityTable();

  virtual void rowIs( const TcamCapacityKey & key, const TcamCapacityRow & row ) = 0;
  // The stage no longer exists.
  virtual void rowDel( const TcamCapacityKey & key ) = 0;
  // The use of a stage crossed its upper threshold (true), or fell below its clear threshold.
  virtual void alarmIs( const TcamCapacityKey & key, bool raised ) = 0;
};

class KIV_API PlatformTables {
 public:
  virtual ~PlatformTables();

  virtual U32 numTcamGroups() const = 0;
  virtual const TcamGroup & tcamGroup( U32 index ) const = 0;
  virtual U32 numTcamReservations() const = 0;
  virtual TcamReservation & tcamReservation( U32 index ) = 0;
  virtual U32 numGroupMapEntries() const = 0;
  virtual const TcamGroupMap & groupMap( U32 index ) const = 0;
  virtual U32 numGroupExcludes() const = 0;
  virtual const TcamGroupQualifiers & groupExcludes( U32 index ) const = 0;
  virtual U32 numGroupIncludes() const = 0;
  virtual const TcamGroupQualifiers & groupIncludes( U32 index ) const = 0;

  // Chip type of a unit, 0 to 65,535.
  virtual S32 chipType( U32 unit ) const = 0;
  // Port that loops packets back into the pipe.
  virtual U32 loopbackPort( U32 unit, U32 pipe ) const = 0;

  // Properties of a group.
  virtual bool noStatsPerEntry( U32 group ) const = 0;
  virtual bool requiresMulticastWar( U32 group ) const = 0;
  virtual bool matchesIPv4( U32 group ) const = 0;
  virtual bool matchesIPv6( U32 group ) const = 0;

  virtual const MorvaneCentral::Attributes & attributes() const = 0;
};

// Sets the platform, which the agent owns; null removes it.
KIV_API void platformIs( PlatformTables * tables );
// The platform; asserts that it is set.
KIV_API PlatformTables & platformTables();

// The tables, as the library reads them. A platform must be set; an index out of range or a missing
// platform is an assertion.
KIV_API U32 numTcamGroups();
KIV_API const TcamGroup * getTcamGroup( U32 index );
KIV_API U32 highestTcamGroupId();  // highest id of the group table; 0 for an empty table
KIV_API U32 numTcamReservations();
KIV_API TcamReservation * getTcamReservation( U32 index );
KIV_API U32 numGroupMapEntries();
KIV_API const TcamGroupMap * getGroupMap( U32 index );
KIV_API U32 numGroupExcludes();
KIV_API const TcamGroupQualifiers * getGroupExcludes( U32 index );
KIV_API U32 numGroupIncludes();
KIV_API const TcamGroupQualifiers * getGroupIncludes( U32 index );
KIV_API S32 chipTypeFromUnit( U32 unit );
KIV_API bool noStatsPerEntryGroup( U32 group );
KIV_API bool groupRequiresMulticastWAR( U32 group );
KIV_API bool isIPv4( U32 group );
KIV_API bool isIPv6( U32 group );
KIV_API U32 getLoopbackPortId( U32 unit, U32 pipe );

// Whether a range is created at start-up: for tcamAllocateAtBeginning, and for tcamAllocateAsChunk
// if the agent's setting or the chip requests it. Never in port-data-path mode (pdpModeEnabled):
// there a range is created with its first entry.
KIV_API bool doAllocAtBeginning( TcamAllocationStrategy strategy, U32 group, bool configured,
                                 bool pdpModeEnabled, bool chipPrefers );

// Removes the qualifiers that the chip cannot match on from a group's set.
KIV_API void tcamGroupQsetExcludes( bcm_field_qset_t * qset, U32 group, bool excludeTtl,
                                    bool excludeRangeChecks, bool groupByPreselector,
                                    bool secondCopy );

namespace MorvaneCentral {
KIV_API const Attributes & morvaneAttributes();
}  // namespace MorvaneCentral

}  // namespace Morvane
