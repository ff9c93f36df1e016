// A switch model: the chip's profile and the group tables that the library starts from.
//
// Order of calls: fill a PlatformData (the loader does so from JSON, a test by hand), check it with
// checkPlatform, construct a PlatformModel from it, pass that to Morvane::platformIs and
// `data().chip` to the software ASIC. All units have the one chip type.
//
// Invariants: table addresses stay valid while the model lives, so it can be neither copied nor
// moved. Start-up writes `group` of the reservations; nothing else changes.
//
// Locks: none; used on the agent's activity thread.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "morvane/Platform.h"
#include "softasic/ChipProfile.h"

namespace Platform {

using namespace Kiv::Integers;

// Packets that a group matches.
enum class GroupMatch { any, ipv4, ipv6 };

struct GroupData {
  U32 id = 0;                     // below 256
  std::vector< U32 > qualifiers;  // SDK qualifier numbers, without an end mark
  std::vector< U32 > excludes;    // removed on this chip type
  std::vector< U32 > includes;    // added on this chip type, after the excludes
  GroupMatch match = GroupMatch::any;
  bool noStatsPerEntry = false;
  bool multicastWar = false;
};

struct ReservationData {
  std::string name;  // of the user, for reports
  Morvane::TcamGroupAssignment assignment = Morvane::stormControlTcamGroup;
  Morvane::TcamAllocationStrategy strategy = Morvane::tcamAllocateUnbounded;
  U32 group = 0;
  U32 size = 0;  // entries; 0 exactly with tcamAllocateUnbounded
  bool managedPriority = false;
  bool mirroringAclUdf = false;
  bool noStatsPerEntry = false;
};

// Ports on which a VLAN is untagged.
struct VlanData {
  U16 id = 1;  // 1 to 4094
  std::vector< U32 > untaggedPorts;
};

struct PlatformData {
  std::string name;
  std::string description;  // one line
  S32 chipType = 0;         // 0 to 65,535
  SoftAsic::ChipProfile chip;
  Morvane::MorvaneCentral::ChipInfo chipInfo = {};
  Morvane::MorvaneCentral::Attributes attributes = {};
  std::vector< std::string > portNames;  // by port; empty: ports have numbers only
  std::vector< U32 > loopbackPorts;      // by pipe; a pipe beyond the list uses the last, or port 0
  std::vector< GroupData > groups;
  std::vector< ReservationData > reservations;
  std::vector< VlanData > vlans;  // of the sample agent's switch; a port is untagged in at most one

  const GroupData * group( U32 id ) const;  // null if there is none
};

// A fault of a platform. At most one of the indices is set; without any, the chip is at fault.
struct PlatformFault {
  std::string what;
  std::optional< U32 > group = {};
  std::optional< U32 > reservation = {};
  std::optional< U32 > vlan = {};
};

// Returns the first fault: the chip's profile is invalid, the tables are inconsistent
// (morvane/PlatformCheck.h), the group of a reservation does not fit the chip, or a port is
// untagged in two VLANs. A platform without faults starts, and its groups can be created.
std::optional< PlatformFault > checkPlatform( const PlatformData & data );

// Entry ids of the reservations, in table order: ranges of one group follow each other.
struct EntryRange {
  U32 first = 0;
  U32 end = 0;  // one past the last; equal to `first` for an unbounded reservation
};
std::vector< EntryRange > entryRanges( const PlatformData & data );

class PlatformModel : public Morvane::PlatformTables {
 public:
  explicit PlatformModel( PlatformData data );
  PlatformModel( const PlatformModel & ) = delete;
  PlatformModel & operator=( const PlatformModel & ) = delete;

  const PlatformData & data() const { return data_; }
  // Pipes that the library walks: 1 where all pipes share one field processor.
  U32 numPipe() const { return data_.chip.sharedByPipes ? 1 : data_.chip.pipes; }

  U32 numTcamGroups() const override { return static_cast< U32 >( groups_.size() ); }
  const Morvane::TcamGroup & tcamGroup( U32 index ) const override { return groups_[ index ]; }
  U32 numTcamReservations() const override { return static_cast< U32 >( reservations_.size() ); }
  Morvane::TcamReservation & tcamReservation( U32 index ) override {
    return reservations_[ index ];
  }
  U32 numGroupMapEntries() const override { return static_cast< U32 >( map_.size() ); }
  const Morvane::TcamGroupMap & groupMap( U32 index ) const override { return map_[ index ]; }
  U32 numGroupExcludes() const override { return static_cast< U32 >( excludes_.size() ); }
  const Morvane::TcamGroupQualifiers & groupExcludes( U32 index ) const override {
    return excludes_[ index ];
  }
  U32 numGroupIncludes() const override { return static_cast< U32 >( includes_.size() ); }
  const Morvane::TcamGroupQualifiers & groupIncludes( U32 index ) const override {
    return includes_[ index ];
  }
  S32 chipType( U32 unit ) const override;
  U32 loopbackPort( U32 unit, U32 pipe ) const override;
  bool noStatsPerEntry( U32 group ) const override;
  bool requiresMulticastWar( U32 group ) const override;
  bool matchesIPv4( U32 group ) const override;
  bool matchesIPv6( U32 group ) const override;
  const Morvane::MorvaneCentral::Attributes & attributes() const override {
    return data_.attributes;
  }

 private:
  const U32 * endedList( const std::vector< U32 > & qualifiers );

  PlatformData data_;
  std::vector< std::vector< U32 > > lists_;  // qualifier lists with their end marks
  std::vector< Morvane::TcamGroup > groups_;
  std::vector< Morvane::TcamReservation > reservations_;
  std::vector< Morvane::TcamGroupMap > map_;
  std::vector< Morvane::TcamGroupQualifiers > excludes_;
  std::vector< Morvane::TcamGroupQualifiers > includes_;
};

}  // namespace Platform
