// The users of the TCAM, and the strategies by which they allocate entries.
//
// A TcamGroupAssignment identifies the user of a reservation and keys the entry managers. Values
// are consecutive from 0 and part of the platform tables: never renumber them.
#pragma once

#include "kiv/Enum.h"
#include "kiv/Types.h"

namespace Morvane {

using namespace Kiv::Integers;

#define MORVANE_TCAM_GROUP_ASSIGNMENTS( X )       \
  X( stormControlTcamGroup )                      \
  X( routingTcamGroup )                           \
  X( macAclTcamGroup )                            \
  X( ipAclTcamGroup )                             \
  X( vxlanL3RoutingControlTcamGroup )             \
  X( aclManagementTcamGroup )                     \
  X( unknownL2McastFloodTcamGroup )               \
  X( l2ControlPrioTcamGroup )                     \
  X( l3ControlPrioTcamGroup )                     \
  X( l4MicroBfdTcamGroup )                        \
  X( ipmcRoutingTcamGroup )                       \
  X( mlagTcamGroup )                              \
  X( macAclVfpTcamGroup )                         \
  X( ipAclVfpTcamGroup )                          \
  X( ipAclVniTcamGroup )                          \
  X( aclVfpManagementTcamGroup )                  \
  X( qosTcamGroup )                               \
  X( macPhyConcLinerateGenTcamGroup )             \
  X( routerAclTcamGroup )                         \
  X( ipCoppTcamGroup )                            \
  X( ip6AclTcamGroup )                            \
  X( ip6AclVniTcamGroup )                         \
  X( ip6RouterAclTcamGroup )                      \
  X( ip6AclVfpTcamGroup )                         \
  X( ip6StdAclTcamGroup )                         \
  X( ip6StdAclVfpTcamGroup )                      \
  X( macAclEgressTcamGroup )                      \
  X( ipAclEgressTcamGroup )                       \
  X( routerAclEgressTcamGroup )                   \
  X( policyCoppIpTcamGroup )                      \
  X( policyQosIpTcamGroup )                       \
  X( policyQosIp6TcamGroup )                      \
  X( policyCoppIp6TcamGroup )                     \
  X( pdpReservedTcamGroup )                       \
  X( pdpTcamGroup )                               \
  X( ucastTcamGroup )                             \
  X( stormControlManagementTcamGroup )            \
  X( ip6AclEgressTcamGroup )                      \
  X( ip6StdAclPortEgressTcamGroup )               \
  X( ip6StdAclRouterEgressTcamGroup )             \
  X( ip6RouterAclEgressTcamGroup )                \
  X( urpfTcamGroup )                              \
  X( ipDhcpSnoopingTcamGroup )                    \
  X( mlagControlTrafficTcamGroup )                \
  X( fabricTcamGroup )                            \
  X( vxlanControlTcamGroup )                      \
  X( ipPbrTcamGroup )                             \
  X( ip6PbrTcamGroup )                            \
  X( blockHiGigLearnVfpTcamGroup )                \
  X( arpInspectionTcamGroup )                     \
  X( dot1xMabTcamGroup )                          \
  X( plqTcamGroup )                               \
  X( loopProtectTcamGroup )                       \
  X( vxlanEfpTcamGroup )                          \
  X( vxlanEfpIvidRewriteTcamGroup )               \
  X( ipSourceGuardTcamGroup )                     \
  X( fabricFlowControlTcamGroup )                 \
  X( vxlanVfpControlTcamGroup )                   \
  X( vxlanVfpVfiControlTcamGroup )                \
  X( policyQosSviIpTcamGroup )                    \
  X( policyQosSviIp6TcamGroup )                   \
  X( mirroringAclTcamGroup1 )                     \
  X( mirroringAclTcamGroup2 )                     \
  X( mirroringAclTcamGroup3 )                     \
  X( mirroringAclTcamGroup4 )                     \
  X( openFlowUdfTcamGroup )                       \
  X( openFlowVxlanUdfTcamGroup )                  \
  X( openFlowVfpTcamGroup )                       \
  X( openFlowManagementTcamGroup )                \
  X( openFlowManagement2TcamGroup )               \
  X( openFlowL2OnlyGroupDefaultTcamGroup )        \
  X( openFlowL2OnlyGroupLowTcamGroup )            \
  X( openFlowFullMatchGroupDefaultTcamGroup )     \
  X( openFlowFullMatchGroupLowTcamGroup )         \
  X( openFlowIP6ProtoOnlyGroupDefaultTcamGroup )  \
  X( openFlowIP6ProtoOnlyGroupLowTcamGroup )      \
  X( openFlowExceptionFlowTcamGroup )             \
  X( tolvaFlowVfpTcamGroup )                      \
  X( tolvaFlowL2OnlyGroupDefaultTcamGroup )       \
  X( tolvaFlowL2OnlyGroupLowTcamGroup )           \
  X( tolvaFlowFullMatchGroupDefaultTcamGroup )    \
  X( tolvaFlowFullMatchGroupLowTcamGroup )        \
  X( tolvaFlowIP6VlanOnlyGroupDefaultTcamGroup )  \
  X( tolvaFlowIP6VlanOnlyGroupLowTcamGroup )      \
  X( tolvaFlowIP6ProtoOnlyGroupDefaultTcamGroup ) \
  X( tolvaFlowIP6ProtoOnlyGroupLowTcamGroup )     \
  X( vfpVxlanVpTcamGroup )                        \
  X( vfpVxlanSipHitGroup )                        \
  X( vfpVfiExceptionTcamGroup )                   \
  X( vfiUnknownMcastRedirectGroup )               \
  X( ttlCheckTcamGroup )                          \
  X( pfcWatchdogTcamGroup )                       \
  X( efpCoppTcamGroup )                           \
  X( efpDefaultCoppTcamGroup )                    \
  X( efpMirrorGreRateLimitTcamGroup )             \
  X( efpMirrorPortRateLimitTcamGroup )            \
  X( vfpPdpClassTcamGroup )                       \
  X( vfpVfiPdpL2CtrlTcamGroup )                   \
  X( ifpVlanPriTcamGroup )                        \
  X( efpVlanPriTcamGroup )                        \
  X( fabricVfpTcamGroup )                         \
  X( vfpPortVPTcamGroup )                         \
  X( vxlanTransitPortVPTcamGroup )                \
  X( vfpTrunkNativeVPTcamGroup )                  \
  X( tolvaFlowFabricTcamGroup )                   \
  X( test1TcamGroup )                             \
  X( test2TcamGroup )                             \
  X( test3TcamGroup )                             \
  X( test4TcamGroup )                             \
  X( test5TcamGroup )                             \
  X( test6TcamGroup )                             \
  X( test7TcamGroup )                             \
  X( test8TcamGroup )

KIV_ENUM( TcamGroupAssignment, MORVANE_TCAM_GROUP_ASSIGNMENTS );

#define MORVANE_TCAM_ALLOCATION_STRATEGIES( X ) \
  X( tcamAllocateUnbounded )                    \
  X( tcamAllocateOnDemand )                     \
  X( tcamAllocateAsChunk )                      \
  X( tcamAllocateAtBeginning )

// How a user's entries are allocated in hardware.
//   tcamAllocateUnbounded    no range; ids and room are the group's
//   tcamAllocateOnDemand     a range of ids; an entry is created when it is handed out
//   tcamAllocateAsChunk      a range that is created with its first entry, destroyed with its last
//   tcamAllocateAtBeginning  a range that is created at start-up and never released
KIV_ENUM( TcamAllocationStrategy, MORVANE_TCAM_ALLOCATION_STRATEGIES );

}  // namespace Morvane
