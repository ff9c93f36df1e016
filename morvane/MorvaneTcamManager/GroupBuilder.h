// Builds the hardware copies of one group on one unit.
//
//   GroupBuilder builder( manager, unit, group, firstCreation );
//   builder.makeQualifierSet( rollback );  // also decides stageIngress( group )
//   builder.addDataQualifier( id );        // for each, if any
//   builder.prepare();                     // configuration and port sets
//   for each copy: builder.create( copy, rollback )
//
// A copy that does not fit leaves nothing behind; earlier copies stay. Internal.
#pragma once

#include <vector>

#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/QualifierSet.h"
#include "morvane/MorvaneTcamManager/Rollback.h"
#include "morvane/MorvaneTcamManager/Udf/Qualifiers.h"

namespace Morvane {

// On whose behalf a group is built.
struct GroupRequest {
  const char * operation;  // as the traces name it
  // The group carries data qualifiers: whatever the refusal, it is tried again without a large
  // slice, and a chip that cannot place it has no room for it.
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
  // Lets the group match on a data qualifier of the unit as well.
  void addDataQualifier( S32 qualId );
  // The same for every qualifier of the unit that the group carries.
  void addCarried( const GroupUdfQual & carried );
  // The same for the qualifiers of a flow-programming group, in the order given.
  void addDataQualifiers( const std::vector< DataQualifier > & udfQual );
  // Reads the port sets and fills in what all copies have in common.
  void prepare();
  // Creates one copy. False when hardware has no room, with nothing left; any other failure ends
  // the process.
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
  bool keepsTwins() const;
  void markOvidWar( const PipeCopy & at, Rollback & rollback );

  MorvaneTcamGroupManager & manager_;
  const U32 unit_;
  const U32 group_;
  const GroupRequest request_;
  bcm_field_qset_t qset_ = {};
  bcm_field_group_config_t common_ = {};
  bcm_port_config_t portConfig_ = {};
  // Wants a large slice first, and is tried again without one.
  bool largeSlice_ = true;
};

}  // namespace Morvane
