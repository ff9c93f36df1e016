// Software ASIC with unit 0, for tests. Holds the SDK lock for its lifetime.
#pragma once

#include <initializer_list>

#include "softasic/SoftAsic.h"
#include "tests/softasic/Packet.h"

namespace SoftAsicTest {

using SoftAsic::ChipProfile;
using SoftAsic::StageKind;
using SoftAsic::StageProfile;

// Qualifier set of most test groups.
constexpr U32 dst = bcmFieldQualifyDstIp;

// One pipe of 8 ports, one IFP stage with `slices` slices of `depth` rows and a 200-bit key.
inline ChipProfile smallProfile( U32 slices = 4, U32 depth = 8 ) {
  ChipProfile profile;
  profile.name = "test";
  profile.portsPerPipe = 8;
  profile.statistics = 16;
  StageProfile ifp;
  ifp.slices = { { slices, depth, 200, false } };
  profile.stages = { ifp };
  return profile;
}

// Two pipes of 8 ports with two copies each; VFP, IFP and EFP; preselectors.
inline ChipProfile bigProfile( U32 depth = 8 ) {
  ChipProfile profile = smallProfile( 4, depth );
  profile.pipes = 2;
  profile.secondCopy = true;
  profile.groupByPreselector = true;
  profile.preselectors = 4;
  StageProfile vfp = profile.stages[ 0 ];
  vfp.kind = StageKind::vfp;
  StageProfile efp = profile.stages[ 0 ];
  efp.kind = StageKind::efp;
  profile.stages.push_back( vfp );
  profile.stages.push_back( efp );
  return profile;
}

inline bcm_field_group_config_t groupConfig( U32 id, std::initializer_list< U32 > qualifiers ) {
  bcm_field_group_config_t config = {};
  config.flags = BCM_FIELD_GROUP_CREATE_WITH_ID;
  config.group = id;
  config.action_res_id = -1;
  for ( const U32 qualifier : qualifiers )
    config.qset.add( qualifier );
  return config;
}

// Makes a group configuration per-copy.
inline bcm_field_group_config_t perCopy( bcm_field_group_config_t config ) {
  config.flags |= BCM_FIELD_GROUP_CREATE_WITH_MODE | BCM_FIELD_GROUP_CREATE_PER_COPY;
  config.mode = bcmFieldGroupModePerCopy;
  return config;
}

inline bcm_pbmp_t portSet( std::initializer_list< U32 > ports ) {
  bcm_pbmp_t set = {};
  for ( const U32 port : ports )
    set.add( port );
  return set;
}

// First failure among the results.
inline int firstError( std::initializer_list< int > results ) {
  for ( const int rc : results )
    if ( rc < 0 )
      return rc;
  return BCM_E_NONE;
}

using Codes = std::vector< int >;  // results of several calls

class TestChip : public SoftAsic::SoftAsic {
 public:
  explicit TestChip( const ChipProfile & profile ) KIV_NO_THREAD_SAFETY_ANALYSIS {
    addUnit( 0, profile );
    sdkLock();
  }
  ~TestChip() override KIV_NO_THREAD_SAFETY_ANALYSIS { sdkUnlock(); }

  int createGroup( bcm_field_group_config_t config ) {
    return bcm_field_group_config_create( 0, &config );
  }
  // Creates an entry on the destination address with an action, and installs it.
  int addRule( U32 group, U32 entry, U32 priority, U32 dstIp, U32 mask,
               bcm_field_action_t action = bcmFieldActionPermit ) {
    return firstError( { bcm_field_entry_create_id( 0, group, entry ),
                         bcm_field_entry_prio_set( 0, entry, priority ),
                         bcm_field_qualify_DstIp( 0, entry, dstIp, mask ),
                         bcm_field_action_add( 0, entry, action, 0, 0 ),
                         bcm_field_entry_install( 0, entry ) } );
  }
  ::SoftAsic::Verdict send( const Packet & packet, U32 port = 0 ) {
    const Frame frame = frameOf( packet );
    return inject( 0, port, frame.data(), frame.size() );
  }
  // Winning entry; at most one group may match. 0: none.
  U32 winner( const Packet & packet, U32 port = 0 ) {
    const auto matches = send( packet, port ).matches;
    return matches.empty() ? 0 : matches.front().entry;
  }
  bcm_field_group_status_s status( U32 group ) {
    bcm_field_group_status_s status = {};
    bcm_field_group_status_get( 0, group, &status );
    return status;
  }
};

}  // namespace SoftAsicTest
