// Builds the hardware copies of one group on one unit.
//
//   GroupBuilder builder( manager, unit, group, firstCreation );
//   builder.makeQualifierSet( rollback );  // also decides stageIngress( group )
//   builder.addDataQualifier( id );        // for each, if any
//   builder.prepare();                     // configuration and port sets
//   for each copy: builder.create( copy, rollback )
//
// A copy that does not fit leaves nothing allocated; earlier copies stay. Internal.
#pragma once

#include <vector>

#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/QualifierSet.h"
#include "morvane/MorvaneTcamManager/Rollback.h"
#include "morvane/MorvaneTcamManager/Udf/Qualifiers.h"

namespace Morvane {

// The operation that builds the group.
struct GroupRequest {
  const char * operation;  // its name in the traces
  // The group carries data qualifiers: any failure is retried with a large slice, and a second
  // failure counts as no room. Other groups request the large slice first.
  bool forUdf;
};

inline constexpr GroupRequest firstCreation{ "initializeGroup", false };
inline constexpr GroupRequest udfRebuild{ "reInitializeGroupWithMirroringAclUdf", true };
inline constexpr GroupRequest flowProgramming{ "createGroupOpenFlowAclUdf", true };

class GroupBuilder {
 public:
  GroupBuilder( MorvaneTcamGroupManager & manager, U32 unit, U32 group,
                const GroupRequest & request )
      : manager_( manager ), unit_( unit ), group_( group ), request_( request ) {}

  // The group's list, then the chip type's excludes and includes, then the chip's own adjustments.
  void makeQualifierSet( Rollback & rollback );
  // Adds a data qualifier of the unit to the set.
  void addDataQualifier( S32 qualId );
  // Adds every qualifier of the unit that the group carries.
  void addCarried( const GroupUdfQual & carried );
  // Adds the qualifiers of a flow-programming group, in the order given.
  void addDataQualifiers( const std::vector< DataQualifier > & udfQual );
  // Reads the port sets and fills in the common part of all copies.
  void prepare();
  // Creates one copy. False without room in hardware; any other failure ends the process.
  bool create( const PipeCopy & at, Rollback & rollback );

  const GroupRequest & request() const { return request_; }

 private:
  const U32 * qualifierList() const;
  QualifierSetInput qualifierSetInput() const;
  bcm_field_group_config_t configFor( const PipeCopy & at ) const;
  void createPreselector( const PipeCopy & at, bcm_field_group_config_t & config,
                          Rollback & rollback );
  bool createInHardware( bcm_field_group_config_t & groupConfig );
  bool isTriedAgain( int rc ) const;
  bool placedByPort() const;
  bool preselects() const;
  void markOvidWar( const PipeCopy & at, Rollback & rollback );

  MorvaneTcamGroupManager & manager_;
  const U32 unit_;
  const U32 group_;
  const GroupRequest request_;
  QualifierSet set_;
  bcm_field_group_config_t common_ = {};
  bcm_port_config_t portConfig_ = {};
};

}  // namespace Morvane
