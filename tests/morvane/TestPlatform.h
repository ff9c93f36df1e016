// Platform tables, built in a few lines.
#pragma once

#include <deque>
#include <map>
#include <set>
#include <vector>

#include "morvane/Platform.h"

namespace Test {

using namespace Morvane;
using Qualifiers = std::vector< U32 >;  // without the end of the list

class TestPlatform : public PlatformTables {
 public:
  // Each adds one record and returns this platform.
  TestPlatform & group( U32 id, const Qualifiers & list ) {
    return groups_.push_back( { id, ended( list ) } ), *this;
  }
  // A size of 0 makes the share unbounded.
  TestPlatform & user( TcamGroupAssignment assignment, U32 group, U32 size,
                       TcamAllocationStrategy strategy ) {
    users.push_back(
        { enumName( assignment ), assignment, group, size, false, false, false, strategy } );
    return *this;
  }
  // Group `id` matches IPv4 destinations and ports at ingress, and has one user.
  TestPlatform & acl( U32 id, U32 size, TcamAllocationStrategy strategy = tcamAllocateOnDemand,
                      TcamGroupAssignment assignment = ipAclTcamGroup ) {
    group( id, { bcmFieldQualifyInPorts, bcmFieldQualifyDstIp, bcmFieldQualifyStageIngress } );
    return user( assignment, id, size, size == 0 ? tcamAllocateUnbounded : strategy );
  }
  TestPlatform & map( S32 chipType, TcamGroupAssignment assignment, U32 group ) {
    return maps_.push_back( { chipType, assignment, group } ), *this;
  }
  TestPlatform & exclude( U16 group, U16 chipType, const Qualifiers & list ) {
    return excludes_.push_back( { group, chipType, ended( list ) } ), *this;
  }
  TestPlatform & include( U16 group, U16 chipType, const Qualifiers & list ) {
    return includes_.push_back( { group, chipType, ended( list ) } ), *this;
  }

  std::deque< TcamReservation > users;
  std::map< U32, S32 > chipTypes;            // by unit; absent: 0
  std::set< U32 > noStats, multicast, ipv6;  // groups
  MorvaneCentral::Attributes settings = {};

  U32 numTcamGroups() const override { return static_cast< U32 >( groups_.size() ); }
  const TcamGroup & tcamGroup( U32 i ) const override { return groups_.at( i ); }
  U32 numTcamReservations() const override { return static_cast< U32 >( users.size() ); }
  TcamReservation & tcamReservation( U32 i ) override { return users.at( i ); }
  U32 numGroupMapEntries() const override { return static_cast< U32 >( maps_.size() ); }
  const TcamGroupMap & groupMap( U32 i ) const override { return maps_.at( i ); }
  U32 numGroupExcludes() const override { return static_cast< U32 >( excludes_.size() ); }
  const TcamGroupQualifiers & groupExcludes( U32 i ) const override { return excludes_.at( i ); }
  U32 numGroupIncludes() const override { return static_cast< U32 >( includes_.size() ); }
  const TcamGroupQualifiers & groupIncludes( U32 i ) const override { return includes_.at( i ); }
  S32 chipType( U32 unit ) const override {
    return chipTypes.contains( unit ) ? chipTypes.at( unit ) : 0;
  }
  U32 loopbackPort( U32, U32 pipe ) const override { return 8 * pipe + 7; }
  bool noStatsPerEntry( U32 group ) const override { return noStats.contains( group ); }
  bool requiresMulticastWar( U32 group ) const override { return multicast.contains( group ); }
  bool matchesIPv4( U32 group ) const override { return !ipv6.contains( group ); }
  bool matchesIPv6( U32 group ) const override { return ipv6.contains( group ); }
  const MorvaneCentral::Attributes & attributes() const override { return settings; }

 private:
  const U32 * ended( const Qualifiers & list ) {
    lists_.push_back( list );
    lists_.back().push_back( bcmFieldQualifyCount );
    return lists_.back().data();
  }

  std::deque< Qualifiers > lists_;
  std::deque< TcamGroup > groups_;
  std::deque< TcamGroupMap > maps_;
  std::deque< TcamGroupQualifiers > excludes_, includes_;
};

}  // namespace Test
