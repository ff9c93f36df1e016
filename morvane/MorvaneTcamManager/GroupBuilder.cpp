#include "morvane/MorvaneTcamManager/GroupBuilder.h"

#include "kiv/Assert.h"
#include "morvane/AclType.h"
#include "morvane/MorvaneTcamManager/MirroringQualifiers.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

// --- Qualifier set ---------------------------------------------------------------------------

void GroupBuilder::makeQualifierSet() {
  manager_.stageIngressIs( group_, true );
  const U32 * const list = qualifierList();
  addFromList( list );
  noteList( list );
  correctForChipType();
  adjustForUnit();
}

void GroupBuilder::addDataQualifier( S32 qualId ) {
  const int rc = manager_.addUdfQualifierToQset( unit_, &qset_, qualId );
  SDK_RESULT( rc );
}

void GroupBuilder::addCarried( const GroupUdfQual & carried ) {
  for ( UnitUdfQualIter qualIter( carried, unit_ ); qualIter; ++qualIter ) {
    MORVANE_TRACE( traceDetail ) << "Unit: " << unit_ << " " << request_.operation << " "
                                 << "The qualifier id to add to qset is " << qualIter.key()
                                 << " with freq " << qualIter.uses();
    addDataQualifier( qualIter.key() );
  }
}

// The text of the call has no blanks inside brackets.
void GroupBuilder::addDataQualifiers( const std::vector< DataQualifier > & udfQual ) {
  const U32 unit = unit_;
  bcm_field_qset_t & qset = qset_;
  for ( U32 i = 0; i < udfQual.size(); ++i ) {
    MORVANE_TRACE( traceDetail ) << "Unit: " << unit << " " << request_.operation << " "
                                 << "The qualifier id to add to qset is " << udfQual[ i ].qual_id();
    // clang-format off
    SDK_CHECKED( bcm_field_qset_data_qualifier_add( unit, &qset, udfQual[i].qual_id() ) );
    // clang-format on
  }
}

const U32 * GroupBuilder::qualifierList() const {
  if ( manager_.groupMirroringAclValid( static_cast< U8 >( group_ ) ) )
    return mirroringList();
  return getTcamGroup( manager_.groupIdToIndex( group_ ) )->qualifiers;
}

const U32 * GroupBuilder::mirroringList() const {
  const U8 key = static_cast< U8 >( group_ );
  // No type yet is the same as no member: IPv4.
  const S32 stored =
      manager_.groupMirroringAclTypeHas( key ) ? manager_.groupMirroringAclType( key ) : -1;
  const S32 mirAclType = stored == -1 ? Acl::ip() : stored;
  if ( mirAclType == Acl::ip6() && manager_.ipv6MirroringSupported() )
    return mirroringIp6Qualifiers;
  KIV_ASSERT( ( mirAclType == Acl::ip() ) || ( mirAclType == Acl::mac() ) );
  return mirAclType == Acl::mac() ? mirroringMacQualifiers : mirroringIpQualifiers;
}

void GroupBuilder::addFromList( const U32 * qualifiers ) {
  for ( ; *qualifiers != bcmFieldQualifyCount; ++qualifiers ) {
    MORVANE_TRACE( traceDetail ) << "Unit: " << unit_ << " " << request_.operation
                                 << " adding qual=" << *qualifiers;
    qset_.add( *qualifiers );
  }
}

// Only the group's own list decides; what a chip type adds does not.
void GroupBuilder::noteList( const U32 * qualifiers ) {
  for ( ; *qualifiers != bcmFieldQualifyCount; ++qualifiers )
    noteQualifier( *qualifiers );
}

void GroupBuilder::noteQualifier( U32 qualifier ) {
  switch ( qualifier ) {
    case bcmFieldQualifyStageLookup:
    case bcmFieldQualifyStageEgress:
      manager_.stageIngressIs( group_, false );
      largeSlice_ = false;
      break;
    case bcmFieldQualifyInPort:
    case bcmFieldQualifyInPorts:
    case bcmFieldQualifyInPortsClass:
      matchesNoPort_ = false;
      break;
    case bcmFieldQualifyOuterVlanId:
      matchesOuterVlan_ = true;
      break;
    default:
      break;
  }
}

void GroupBuilder::correctForChipType() {
  const GroupQsetModKey key{ static_cast< U16 >( group_ ),
                             static_cast< U16 >( chipTypeFromUnit( unit_ ) ) };
  if ( manager_.groupIdToExcludeIndexHas( key ) ) {
    const U32 * qual = getGroupExcludes( manager_.groupIdToExcludeIndex( key ) )->qualifiers;
    for ( ; *qual != bcmFieldQualifyCount; ++qual ) {
      MORVANE_TRACE( traceDetail )
          << "Unit: " << unit_ << " " << request_.operation << " removing qual=" << *qual;
      qset_.remove( *qual );
    }
  }
  if ( manager_.groupIdToIncludeIndexHas( key ) )
    addFromList( getGroupIncludes( manager_.groupIdToIncludeIndex( key ) )->qualifiers );
}

void GroupBuilder::adjustForUnit() {
  const MorvaneCentral::ChipInfo chip = manager_.modChipInfo( static_cast< U16 >( unit_ ) );
  if ( chip.qualifierSwap && matchesOuterVlan_ && matchesNoPort_ && qset_.has( chip.swapFrom ) ) {
    qset_.remove( chip.swapFrom );
    qset_.add( chip.swapTo );
  }
  if ( chip.extraQualifier != 0 )
    qset_.add( chip.extraQualifier );
  const bool secondCopy = Shim::sdk_->kelmor_field_second_copy( unit_ );
  tcamGroupQsetExcludes( &qset_, group_, chip.excludeTtl, chip.excludeRangeChecks,
                         Shim::sdk_->kelmor_field_group_by_preselector( unit_ ), secondCopy );
  // The tables of a copy hold the ports in their class form.
  if ( secondCopy && qset_.has( bcmFieldQualifyInPorts ) ) {
    qset_.remove( bcmFieldQualifyInPorts );
    qset_.add( bcmFieldQualifyInPortsClass );
  }
  if ( keepsTwins() )
    qset_.add( bcmFieldQualifyInPorts );
}

// The ports of a twin are narrowed, so that its group needs to match them.
bool GroupBuilder::keepsTwins() const {
  return Shim::sdk_->kelmor_field_shared_by_pipes( unit_ ) && manager_.stageIngress( group_ ) &&
         qset_.has( bcmFieldQualifyOuterVlanId );
}

// --- Configuration ---------------------------------------------------------------------------

void GroupBuilder::prepare() {
  const U32 unit = unit_;
  bcm_port_config_t & portConfig = portConfig_;
  SDK_CHECKED( bcm_port_config_get( unit, &portConfig ) );

  common_ = {};
  if ( largeSlice_ )
    common_.flags |= BCM_FIELD_GROUP_CREATE_LARGE;
  if ( !Shim::sdk_->kelmor_field_group_by_preselector( unit_ ) &&
       manager_.managedPriority( group_ ) )
    common_.flags |= BCM_FIELD_GROUP_CREATE_MANAGED_PRIO;
  common_.qset = qset_;
  common_.flags |= BCM_FIELD_GROUP_CREATE_WITH_ID;
  common_.action_res_id = -1;
  if ( Shim::sdk_->kelmor_field_second_copy( unit_ ) && manager_.stageIngress( group_ ) ) {
    common_.mode = bcmFieldGroupModePerCopy;
    common_.flags |= BCM_FIELD_GROUP_CREATE_PER_COPY | BCM_FIELD_GROUP_CREATE_WITH_MODE;
  }
}

bool GroupBuilder::placedByPort() const {
  return manager_.stageIngress( group_ ) &&
         ( Shim::sdk_->kelmor_field_group_by_preselector( unit_ ) ||
           Shim::sdk_->kelmor_field_second_copy( unit_ ) );
}

// Every copy starts from the common part, so that what one copy's retry drops is there for the
// next.
bcm_field_group_config_t GroupBuilder::configFor( const PipeCopy & at ) const {
  bcm_field_group_config_t config = common_;
  config.group = at.pipeGroup;
  config.priority = static_cast< S32 >( manager_.getGroupPriority( unit_, at.pipeGroup ) );
  if ( placedByPort() ) {
    config.flags |= BCM_FIELD_GROUP_CREATE_WITH_PORT;
    config.flags &= ~BCM_FIELD_GROUP_CREATE_LARGE;
    config.ports = portConfig_.per_pipe( at.pipe );
  }
  return config;
}

void GroupBuilder::createPreselector( const PipeCopy & at, bcm_field_group_config_t & config ) {
  const U32 unit = unit_;
  const U32 pipe = at.pipe;
  const bcm_port_config_t & portConfig = portConfig_;
  // Without the mark, what the books name is of the time before a re-initialisation.
  if ( manager_.preselectorLeft( { unit, at.pipeGroup } ) )
    manager_.doDestroyGroupPreselId( unit, at.pipeGroup );
  bcm_field_presel_t preselId = 0;
  SDK_CHECKED( bcm_field_presel_create( unit, &preselId ) );
  manager_.doStoreGroupPreselId( unit, at.pipeGroup, preselId );
  preselectorMade_ = true;
  SDK_CHECKED(
      bcm_field_qualify_Stage( unit, preselId | BCM_FIELD_QUALIFY_PRESEL, bcmFieldStageIngress ) );
  const bcm_field_src_class_t preselKeyData = { pipe };
  const bcm_field_src_class_t preselKeyMask = { BCM_PIPES_MAX - 1 };
  SDK_CHECKED( bcm_field_qualify_MixedSrcClassId( unit, preselId | BCM_FIELD_QUALIFY_PRESEL,
                                                  portConfig.per_pipe( pipe ), preselKeyData,
                                                  preselKeyMask ) );
  config.preselset.add( preselId );
}

// --- Creation --------------------------------------------------------------------------------

bool GroupBuilder::create( const PipeCopy & at ) {
  const bool wasOvidWar = manager_.ovidWar( at.pipeGroup );
  if ( keepsTwins() )
    manager_.ovidWarIs( at.pipeGroup, true );
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit_ << " " << request_.operation
                              << " Creating group " << at.pipeGroup;
  const U32 unit = unit_;
  const U32 groupId = at.pipeGroup;
  preselectorMade_ = false;
  try {
    bcm_field_group_config_t groupConfig = configFor( at );
    if ( preselects() )
      createPreselector( at, groupConfig );
    if ( createInHardware( groupConfig ) )
      return true;
    if ( !request_.forUdf ) {
      SDK_UNCHECKED( bcm_field_group_dump( unit, groupId ) );
      MORVANE_TRACE( traceFailure )
          << "Unit: " << unit << " " << request_.operation << " Could not create group!";
    }
  } catch ( ... ) {
    undo( at, wasOvidWar );
    throw;
  }
  undo( at, wasOvidWar );
  return false;
}

bool GroupBuilder::preselects() const {
  return Shim::sdk_->kelmor_field_group_by_preselector( unit_ ) && manager_.stageIngress( group_ );
}

void GroupBuilder::undo( const PipeCopy & at, bool wasOvidWar ) {
  // What the books still name from before a re-initialisation is not this attempt's.
  if ( preselectorMade_ )
    manager_.doDestroyGroupPreselId( unit_, at.pipeGroup );
  if ( !wasOvidWar && manager_.ovidWar( at.pipeGroup ) )
    manager_.ovidWarDel( at.pipeGroup );
}

bool GroupBuilder::createInHardware( bcm_field_group_config_t & groupConfig ) {
  const U32 unit = unit_;
  int rc = SDK_CALL( bcm_field_group_config_create( unit, &groupConfig ) );
  if ( isTriedAgain( rc ) ) {
    groupConfig.flags &= ~BCM_FIELD_GROUP_CREATE_LARGE;
    rc = SDK_CALL( bcm_field_group_config_create( unit, &groupConfig ) );
  }
  if ( rc == BCM_E_RESOURCE || ( rc == BCM_E_UNAVAIL && request_.forUdf ) )
    return false;
  SDK_RESULT_OF( rc, bcm_field_group_config_create( unit, &groupConfig ) );
  return true;
}

bool GroupBuilder::isTriedAgain( int rc ) const {
  if ( !request_.forUdf )
    return ( rc == BCM_E_RESOURCE || rc == BCM_E_UNAVAIL ) && largeSlice_;
  if ( rc < 0 )
    MORVANE_TRACE( traceFailure ) << "Unit: " << unit_ << " " << request_.operation << " "
                                  << "Retrying. Might need to allocate large slices";
  return rc < 0;
}

}  // namespace Morvane
