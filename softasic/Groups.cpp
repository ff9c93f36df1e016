#include "softasic/Groups.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace SoftAsic {

namespace {

constexpr U32 knownGroupFlags = BCM_FIELD_GROUP_CREATE_WITH_ID | BCM_FIELD_GROUP_CREATE_WITH_PORT |
                                BCM_FIELD_GROUP_CREATE_WITH_MODE | BCM_FIELD_GROUP_CREATE_LARGE |
                                BCM_FIELD_GROUP_CREATE_PER_COPY |
                                BCM_FIELD_GROUP_CREATE_MANAGED_PRIO;

std::optional< StageKind > stageOf( const bcm_field_qset_t & qset ) {
  const bool ingress = qset.has( bcmFieldQualifyStageIngress );
  const bool lookup = qset.has( bcmFieldQualifyStageLookup );
  const bool egress = qset.has( bcmFieldQualifyStageEgress );
  if ( int{ ingress } + int{ lookup } + int{ egress } > 1 )
    return std::nullopt;
  return lookup ? StageKind::vfp : egress ? StageKind::efp : StageKind::ifp;
}

bool hasData( const bcm_field_qset_t & qset ) {
  return std::any_of(
      std::begin( qset.data_qualifiers ), std::end( qset.data_qualifiers ),
      []( U32 word ) { return word != 0; } );
}

bool comesBefore( const Group * a, const Group * b ) {
  if ( a->config().priority != b->config().priority )
    return a->config().priority > b->config().priority;
  return a->id() < b->id();
}

}  // namespace

// Key bits of a qualifier set; empty if the stage does not support it.
std::optional< U32 > Groups::keyBitsOf( const bcm_field_qset_t & qset,
                                        const StageTable & table ) const {
  if ( hasData( qset ) && table.kind != StageKind::ifp )
    return std::nullopt;
  U32 sum = data_.keyBits( qset );
  for ( U32 qual = 0; qual < bcmFieldQualifyCount; ++qual ) {
    if ( !qset.has( qual ) || qual == bcmFieldQualifyStageIngress ||
         qual == bcmFieldQualifyStageLookup || qual == bcmFieldQualifyStageEgress )
      continue;
    const auto bits = table.keyBits.find( qual );
    if ( bits == table.keyBits.end() )
      return std::nullopt;
    sum += bits->second;
  }
  return sum;
}

// Slice requirements of a group; empty if its key fits no slice.
std::optional< SliceDemand > Groups::demandOf( const bcm_field_group_config_t & config,
                                               const StageTable & table ) const {
  const std::optional< U32 > keyBits = keyBitsOf( config.qset, table );
  const std::optional< WideMode > mode = keyBits ? table.pool.modeFor( *keyBits ) : std::nullopt;
  if ( !mode )
    return std::nullopt;
  return SliceDemand{ *keyBits, *mode, ( config.flags & BCM_FIELD_GROUP_CREATE_LARGE ) != 0 };
}

int Groups::create( bcm_field_group_config_t * config ) {
  if ( config == nullptr || ( config->flags & ~knownGroupFlags ) != 0 )
    return BCM_E_PARAM;
  const std::optional< StageKind > stage = stageOf( config->qset );
  if ( !stage )
    return BCM_E_PARAM;
  if ( !tables_.has( *stage ) )
    return BCM_E_UNAVAIL;
  bcm_field_group_config_t wanted = *config;
  if ( const int rc = chooseId( wanted ); rc < 0 )
    return rc;
  StageTable * table = tables_.forGroup( *stage, wanted.group );
  if ( table == nullptr )
    return BCM_E_PARAM;
  if ( const int rc = checkMode( wanted, *table ); rc < 0 )
    return rc;
  if ( const int rc = checkPorts( wanted, *table ); rc < 0 )
    return rc;
  if ( !presels_.exist( wanted.preselset ) || !data_.exist( wanted.qset ) )
    return BCM_E_NOT_FOUND;
  const std::optional< SliceDemand > demand = demandOf( wanted, *table );
  if ( !demand )
    return BCM_E_UNAVAIL;
  auto group = std::make_unique< Group >( wanted, *table, *demand, layoutOf( wanted.qset ) );
  if ( const int rc = group->rows().allocateFirstSlice(); rc < 0 )
    return rc;
  add( std::move( group ) );
  config->group = wanted.group;
  return BCM_E_NONE;
}

// Records a group that owns its first slice.
void Groups::add( std::unique_ptr< Group > group ) {
  presels_.use( group->config().preselset );
  data_.use( group->config().qset );
  auto & order = group->table().groups;
  order.insert( std::upper_bound( order.begin(), order.end(), group.get(), comesBefore ),
                group.get() );
  const U32 id = group->id();
  groups_[ id ] = std::move( group );
}

int Groups::chooseId( bcm_field_group_config_t & config ) const {
  if ( ( config.flags & BCM_FIELD_GROUP_CREATE_WITH_ID ) != 0 )
    return groups_.count( config.group ) != 0 ? BCM_E_EXISTS : BCM_E_NONE;
  config.group = 1;
  while ( groups_.count( config.group ) != 0 )
    ++config.group;
  return config.group <= idNumberMask ? BCM_E_NONE : BCM_E_RESOURCE;
}

int Groups::checkMode( const bcm_field_group_config_t & config, const StageTable & table ) const {
  const bool perCopyFlag = ( config.flags & BCM_FIELD_GROUP_CREATE_PER_COPY ) != 0;
  const bool withMode = ( config.flags & BCM_FIELD_GROUP_CREATE_WITH_MODE ) != 0;
  const int mode = withMode ? config.mode : bcmFieldGroupModeDefault;
  if ( mode != bcmFieldGroupModeDefault && mode != bcmFieldGroupModeAuto &&
       mode != bcmFieldGroupModePerCopy )
    return BCM_E_PARAM;
  const bool perCopy = mode == bcmFieldGroupModePerCopy;
  if ( perCopy != perCopyFlag )
    return BCM_E_PARAM;
  if ( perCopy && ( !chip_.secondCopy || table.kind != StageKind::ifp ) )
    return BCM_E_UNAVAIL;
  return table.copy != 0 && !perCopy ? BCM_E_PARAM : BCM_E_NONE;
}

int Groups::checkPorts( const bcm_field_group_config_t & config, const StageTable & table ) const {
  if ( ( config.flags & BCM_FIELD_GROUP_CREATE_WITH_PORT ) == 0 )
    return BCM_E_NONE;
  const bcm_port_config_t & ports = ports_.config();
  return isSubset( config.ports, table.perPipe ? ports.per_pipe( table.pipe ) : ports.all )
             ? BCM_E_NONE
             : BCM_E_PORT;
}

int Groups::destroy( U32 id ) {
  Group * group = find( id );
  if ( group == nullptr )
    return BCM_E_NOT_FOUND;
  if ( group->rows().usedRows() != 0 )
    return BCM_E_BUSY;
  group->rows().releaseSlices();
  presels_.unuse( group->config().preselset );
  data_.unuse( group->config().qset );
  auto & order = group->table().groups;
  order.erase( std::find( order.begin(), order.end(), group ) );
  groups_.erase( id );
  return BCM_E_NONE;
}

int Groups::setQualifiers( U32 id, const bcm_field_qset_t & qset ) {
  Group * group = find( id );
  if ( group == nullptr )
    return BCM_E_NOT_FOUND;
  if ( stageOf( qset ) != group->table().kind )
    return BCM_E_PARAM;
  if ( !data_.exist( qset ) )
    return BCM_E_NOT_FOUND;
  const bcm_field_qset_t before = group->config().qset;
  const std::optional< U32 > keyBits = keyBitsOf( qset, group->table() );
  if ( !keyBits || ( chip_.fixedGroupKeys && *keyBits > group->keyBitsAtCreation() ) )
    return BCM_E_UNAVAIL;
  KeyLayout layout = layoutOf( qset );
  if ( group->usesMoreThan( layout ) )
    return BCM_E_BUSY;
  if ( !group->rows().setKeyBits( *keyBits ) )
    return BCM_E_RESOURCE;
  group->setQualifiers( qset, std::move( layout ) );
  data_.use( qset );
  data_.unuse( before );
  return BCM_E_NONE;
}

Group * Groups::find( U32 id ) {
  const auto group = groups_.find( id );
  return group == groups_.end() ? nullptr : group->second.get();
}

}  // namespace SoftAsic
