// Inspection of a unit.
#include "softasic/Unit.h"

namespace SoftAsic {

namespace {

// Without its position, which costs a walk over the group's rows.
EntryView viewOf( const Entry & entry ) {
  const KeyLayout & layout = entry.group->layout();
  EntryView view;
  view.id = entry.id;
  view.group = entry.group->id();
  view.priority = rankPriority( entry.rank );
  view.installed = entry.installed;
  view.enabled = entry.enabled;
  view.stat = entry.stat;
  view.pending = entry.pending->view( layout );
  if ( entry.effective != nullptr )
    view.effective = entry.effective->view( layout );
  view.slice = entry.slice->number();
  view.row = entry.row;
  return view;
}

U32 positionOf( const Entry & entry ) {
  U32 position = 0;
  for ( const Slice * slice : entry.group->rows().slices() ) {
    if ( slice == entry.slice )
      break;
    position += slice->rows();
  }
  return position + entry.slice->position( entry );
}

GroupView viewOf( const Group & group ) {
  const bcm_field_group_config_t & config = group.config();
  GroupView view;
  view.id = group.id();
  view.stage = group.table().kind;
  view.pipe = group.table().pipe;
  view.copy = group.table().copy;
  view.priority = config.priority;
  view.flags = config.flags;
  view.qset = config.qset;
  view.ports = config.ports;
  view.preselset = config.preselset;
  view.keyBits = group.rows().demand().keyBits;
  view.rowsPerSlice = group.rows().slices().front()->rows();
  for ( const Slice * slice : group.rows().slices() )
    view.slices.push_back( slice->number() );
  group.rows().forEach( [ & ]( const Entry & entry ) { view.entries.push_back( entry.id ); } );
  return view;
}

}  // namespace

std::vector< GroupView > Unit::groupViews() const {
  std::vector< GroupView > views;
  groups_.forEach( [ & ]( const Group & group ) { views.push_back( viewOf( group ) ); } );
  return views;
}

std::optional< GroupView > Unit::groupView( U32 id ) const {
  const Group * group = groups_.find( id );
  return group == nullptr ? std::nullopt : std::optional( viewOf( *group ) );
}

std::vector< EntryView > Unit::entryViews( U32 groupId ) const {
  std::vector< EntryView > views;
  if ( const Group * group = groups_.find( groupId ) )
    group->rows().forEach( [ & ]( const Entry & entry ) {
      views.push_back( viewOf( entry ) );
      views.back().position = positionOf( entry );
    } );
  return views;
}

std::optional< EntryView > Unit::entryView( U32 id ) const {
  const Entry * entry = entries_.find( id );
  if ( entry == nullptr )
    return std::nullopt;
  EntryView view = viewOf( *entry );
  view.position = positionOf( *entry );
  return view;
}

std::optional< StatView > Unit::statView( U32 id ) const {
  return stats_.table( id ) == nullptr ? std::nullopt : std::optional( stats_.view( id ) );
}

std::vector< TableView > Unit::tableViews() const {
  std::vector< TableView > views;
  tables_.forEach( [ & ]( const StageTable & table ) {
    TableView view;
    view.stage = table.kind;
    view.pipe = table.pipe;
    view.copy = table.copy;
    view.slices = static_cast< U32 >( table.pool.slices().size() );
    view.freeSlices = table.pool.freeSlices();
    view.groups = static_cast< U32 >( table.groups.size() );
    view.entries = table.entries;
    view.statistics = table.stats;
    view.freeStatistics = table.freeStats;
    view.moves = table.moves;
    views.push_back( view );
  } );
  return views;
}

}  // namespace SoftAsic
