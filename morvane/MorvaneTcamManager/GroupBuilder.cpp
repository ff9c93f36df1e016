#include "morvane/MorvaneTcamManager/GroupBuilder.h"

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

using Shim::Fields;

namespace {

void addFlags( bcm_field_group_config_t & config, U32 flags ) {
  Fields::groupFlagsIs( config, Fields::groupFlags( config ) | flags );
}
void removeFlags( bcm_field_group_config_t & config, U32 flags ) {
  Fields::groupFlagsIs( config, Fields::groupFlags( config ) & ~flags );
}

// The SDK's record with an accessor whose name is part of a traced text.
struct PipePorts {
  const bcm_port_config_t & record;
  bcm_pbmp_t per_pipe( U32 pipe ) const { return Fields::pipePorts( record, pipe ); }
};

}  // namespace

// --- Qualifier set ---------------------------------------------------------------------------

void GroupBuilder::makeQualifierSet( Rollback & rollback ) {
  rollback.addRecord( [ manager = &manager_, group = group_,
                        had = manager_.stageIngressHas( group_ ),
                        stage = manager_.stageIngress( group_ ) ] {
    if ( had )
      manager->stageIngressIs( group, stage );
    else
      manager->stageIngressDel( group );
  } );
  manager_.stageIngressIs( group_, true );
  const QualifierTrace trace{ unit_, request_.operation };
  set_ = Morvane::makeQualifierSet( qualifierSetInput(), &trace );
  manager_.stageIngressIs( group_, set_.stageIngress );
}

void GroupBuilder::addDataQualifier( S32 qualId ) {
  const int rc = manager_.addUdfQualifierToQset( unit_, &set_.qset, qualId );
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

// The call is traced as written, without blanks in brackets.
void GroupBuilder::addDataQualifiers( const std::vector< DataQualifier > & udfQual ) {
  const U32 unit = unit_;
  bcm_field_qset_t & qset = set_.qset;
  for ( U32 i = 0; i < udfQual.size(); ++i ) {
    MORVANE_TRACE( traceDetail ) << "Unit: " << unit << " " << request_.operation << " "
                                 << "The qualifier id to add to qset is " << udfQual[ i ].qual_id();
    // clang-format off
    SDK_CHECKED( bcm_field_qset_data_qualifier_add( unit, &qset, udfQual[i].qual_id() ) );
    // clang-format on
  }
}

QualifierSetInput GroupBuilder::qualifierSetInput() const {
  QualifierSetInput input;
  input.group = group_;
  input.qualifiers = qualifierList();
  const GroupQsetModKey key{ static_cast< U16 >( group_ ),
                             static_cast< U16 >( chipTypeFromUnit( unit_ ) ) };
  if ( manager_.groupIdToExcludeIndexHas( key ) )
    input.excludes = getGroupExcludes( manager_.groupIdToExcludeIndex( key ) )->qualifiers;
  if ( manager_.groupIdToIncludeIndexHas( key ) )
    input.includes = getGroupIncludes( manager_.groupIdToIncludeIndex( key ) )->qualifiers;
  input.chip = manager_.modChipInfo( static_cast< U16 >( unit_ ) );
  input.properties = chipProperties( unit_ );
  return input;
}

const U32 * GroupBuilder::qualifierList() const {
  const U8 key = static_cast< U8 >( group_ );
  if ( !manager_.groupMirroringAclValid( key ) )
    return getTcamGroup( manager_.groupIdToIndex( group_ ) )->qualifiers;
  return mirroringQualifiers(
      manager_.groupMirroringAclTypeHas( key ) ? manager_.groupMirroringAclType( key ) : -1,
      manager_.ipv6MirroringSupported() );
}

// --- Configuration ---------------------------------------------------------------------------

void GroupBuilder::prepare() {
  const U32 unit = unit_;
  bcm_port_config_t & portConfig = portConfig_;
  SDK_CHECKED( bcm_port_config_get( unit, &portConfig ) );

  Fields::initialise( common_ );
  if ( set_.largeSlice && !request_.forUdf )
    addFlags( common_, BCM_FIELD_GROUP_CREATE_LARGE );
  if ( !Shim::sdkShim().kelmor_field_group_by_preselector( unit_ ) &&
       manager_.managedPriority( group_ ) )
    addFlags( common_, BCM_FIELD_GROUP_CREATE_MANAGED_PRIO );
  Fields::groupQualifiersIs( common_, set_.qset );
  addFlags( common_, BCM_FIELD_GROUP_CREATE_WITH_ID );
  Fields::groupActionResolutionIs( common_, -1 );
  if ( Shim::sdkShim().kelmor_field_second_copy( unit_ ) && manager_.stageIngress( group_ ) ) {
    Fields::groupModeIs( common_, bcmFieldGroupModePerCopy );
    addFlags( common_, BCM_FIELD_GROUP_CREATE_PER_COPY | BCM_FIELD_GROUP_CREATE_WITH_MODE );
  }
}

bool GroupBuilder::placedByPort() const {
  return manager_.stageIngress( group_ ) &&
         ( Shim::sdkShim().kelmor_field_group_by_preselector( unit_ ) ||
           Shim::sdkShim().kelmor_field_second_copy( unit_ ) );
}

// Every copy starts from the common part: a retry without a flag affects only its own copy.
bcm_field_group_config_t GroupBuilder::configFor( const PipeCopy & at ) const {
  bcm_field_group_config_t config = common_;
  Fields::groupIdIs( config, at.pipeGroup );
  Fields::groupPriorityIs( config,
                           static_cast< S32 >( manager_.getGroupPriority( unit_, at.pipeGroup ) ) );
  if ( placedByPort() ) {
    addFlags( config, BCM_FIELD_GROUP_CREATE_WITH_PORT );
    removeFlags( config, BCM_FIELD_GROUP_CREATE_LARGE );
    Fields::groupPortsIs( config, Fields::pipePorts( portConfig_, at.pipe ) );
  }
  return config;
}

void GroupBuilder::createPreselector( const PipeCopy & at, bcm_field_group_config_t & config,
                                      Rollback & rollback ) {
  const U32 unit = unit_;
  const U32 pipe = at.pipe;
  const PipePorts portConfig{ portConfig_ };
  bcm_field_presel_t preselId{};
  SDK_CHECKED( bcm_field_presel_create( unit, &preselId ) );
  KIV_ASSERT( preselId < BCM_FIELD_PRESEL_MAX );
  FP_COMMAND() << "fp presel create " << preselId;
  rollback.add( unit, { cleanupDestroyPreselector, U32( preselId ) } );
  // Overwrites a preselector id from before a re-initialisation.
  manager_.doStoreGroupPreselId( unit, at.pipeGroup, preselId );
  rollback.addRecord( [ manager = &manager_, unit, group = at.pipeGroup ] {
    manager->groupIdToPreselIdDel( { unit, group } );
  } );
  SDK_CHECKED(
      bcm_field_qualify_Stage( unit, preselId | BCM_FIELD_QUALIFY_PRESEL, bcmFieldStageIngress ) );
  FP_COMMAND() << "fp presel qualify " << preselId << " stage ingress";
  bcm_field_src_class_t preselKeyData = {};
  bcm_field_src_class_t preselKeyMask = {};
  Fields::sourceClassIs( preselKeyData, pipe );
  Fields::sourceClassIs( preselKeyMask, BCM_PIPES_MAX - 1 );
  SDK_CHECKED( bcm_field_qualify_MixedSrcClassId( unit, preselId | BCM_FIELD_QUALIFY_PRESEL,
                                                  portConfig.per_pipe( pipe ), preselKeyData,
                                                  preselKeyMask ) );
  FP_COMMAND() << "fp presel qualify " << preselId << " pipe " << pipe;
  Fields::groupPreselectorAdd( config, preselId );
}

// --- Creation --------------------------------------------------------------------------------

bool GroupBuilder::create( const PipeCopy & at, Rollback & rollback ) {
  const U32 unit = unit_;
  const U32 groupId = at.pipeGroup;
  Rollback copy( manager_ );
  markOvidWar( at, copy );
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit << " " << request_.operation << " Creating group "
                              << groupId;
  bcm_field_group_config_t groupConfig = configFor( at );
  if ( preselects() )
    createPreselector( at, groupConfig, copy );
  if ( createInHardware( groupConfig ) ) {
    FP_COMMAND() << "fp group create " << groupId << " prio "
                 << Fields::groupPriority( groupConfig );
    copy.add( unit, { cleanupDestroyGroup, groupId } );
    rollback.take( copy );
    return true;
  }
  if ( !request_.forUdf ) {
    SDK_UNCHECKED( bcm_field_group_dump( unit, groupId ) );
    MORVANE_TRACE( traceFailure ) << "Unit: " << unit << " " << request_.operation
                                  << " Could not create group!";
  }
  copy.undo();
  return false;
}

bool GroupBuilder::preselects() const {
  return Shim::sdkShim().kelmor_field_group_by_preselector( unit_ ) &&
         manager_.stageIngress( group_ );
}

// All units share the mark: it stays while the group exists on another unit.
void GroupBuilder::markOvidWar( const PipeCopy & at, Rollback & rollback ) {
  if ( !keepsTwins( set_, chipProperties( unit_ ) ) || manager_.ovidWar( at.pipeGroup ) )
    return;
  manager_.ovidWarIs( at.pipeGroup, true );
  rollback.addRecord( [ manager = &manager_, group = at.pipeGroup ] {
    for ( auto unitIter = manager->modChipInfoIterConst(); unitIter; ++unitIter )
      if ( manager->groupExists( unitIter.key(), group ) )
        return;
    manager->ovidWarDel( group );
  } );
}

bool GroupBuilder::createInHardware( bcm_field_group_config_t & groupConfig ) {
  const U32 unit = unit_;
  int rc = SDK_CALL( bcm_field_group_config_create( unit, &groupConfig ) );
  if ( isTriedAgain( rc ) ) {
    if ( request_.forUdf )
      addFlags( groupConfig, BCM_FIELD_GROUP_CREATE_LARGE );
    else
      removeFlags( groupConfig, BCM_FIELD_GROUP_CREATE_LARGE );
    rc = SDK_CALL( bcm_field_group_config_create( unit, &groupConfig ) );
  }
  if ( rc == BCM_E_RESOURCE || ( rc == BCM_E_UNAVAIL && request_.forUdf ) )
    return false;
  SDK_RESULT_OF( rc, bcm_field_group_config_create( unit, &groupConfig ) );
  return true;
}

bool GroupBuilder::isTriedAgain( int rc ) const {
  if ( !request_.forUdf )
    return ( rc == BCM_E_RESOURCE || rc == BCM_E_UNAVAIL ) && set_.largeSlice;
  if ( rc < 0 )
    MORVANE_TRACE( traceFailure ) << "Unit: " << unit_ << " " << request_.operation << " "
                                  << "Retrying. Might need to allocate large slices";
  return rc < 0;
}

}  // namespace Morvane
