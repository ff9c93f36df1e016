// Inspection of a unit.
#include <algorithm>
#include <set>
#include <utility>

#include "softasic/Unit.h"

namespace SoftAsic {

namespace {

// Leaves out the position, which takes a walk over the group's rows.
EntryView viewOf( const Entry & entry ) {
  const KeyLayout & layout = entry.group->layout();
  EntryView view;
  view.id = entry.id;
  view.group = entry.group->id();
  view.priority = rankPriority( entry.rank );
  view.installed = entry.installed;
  view.enabled = entry.enabled;
  view.stat = entry.stat;
  view.policer = entry.policer;
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
  for ( const DataField & field : group.layout().data() )
    view.data.push_back( field.id );
  view.keyBits = group.rows().demand().keyBits;
  view.rowsPerSlice = group.rows().slices().front()->rows();
  for ( const Slice * slice : group.rows().slices() )
    view.slices.push_back( slice->number() );
  group.rows().forEach( [ & ]( const Entry & entry ) { view.entries.push_back( entry.id ); } );
  return view;
}

SliceView viewOf( const StageTable & table, const Slice & slice ) {
  SliceView view;
  view.stage = table.kind;
  view.pipe = table.pipe;
  view.copy = table.copy;
  view.number = slice.number();
  view.depth = slice.depth();
  view.keyBits = slice.keyBits();
  view.large = slice.large();
  view.rows = slice.capacity( view.mode );
  return view;
}

// Adds the owner. `held` has the entries: the slice itself or, for the odd one of a pair, the even.
void addOwner( SliceView & view, const Group & group, const Slice & held ) {
  view.group = group.id();
  view.mode = group.rows().demand().mode;
  view.rows = held.rows();
  for ( U32 row = 0; row < held.rows(); ++row )
    if ( const Entry * entry = held.inRow( row ) )
      view.entries.emplace( row, entry->id );
}

std::vector< SliceView > slicesOf( const StageTable & table ) {
  std::vector< SliceView > views;
  for ( const Slice & slice : table.pool.slices() )
    views.push_back( viewOf( table, slice ) );
  for ( const Group * group : table.groups )
    for ( const Slice * slice : group->rows().slices() ) {
      addOwner( views[ slice->number() ], *group, *slice );
      if ( group->rows().demand().mode == WideMode::paired )
        addOwner( views[ slice->number() + 1 ], *group, *slice );
    }
  return views;
}

// Views by id, each with sorted entry ids.
template < class View >
std::vector< View > sorted( std::map< U32, View > & views ) {
  std::vector< View > list;
  for ( auto & [ id, view ] : views ) {
    std::sort( view.entries.begin(), view.entries.end() );
    list.push_back( std::move( view ) );
  }
  return list;
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

std::vector< RangeView > Unit::rangeViews() const {
  std::map< U32, RangeView > views;
  ranges_.forEach( [ & ]( const RangeChecker & r ) {
    views[ r.id ] = { r.id, r.flags, r.low, r.high, {} };
  } );
  entries_.forEach( [ & ]( const Entry & entry ) {
    std::set< U32 > used;
    for ( const RangeUse & checker : entry.pending->ranges() )
      used.insert( checker->id );
    if ( entry.effective != nullptr )
      for ( const RangeUse & checker : entry.effective->ranges() )
        used.insert( checker->id );
    for ( const U32 id : used )
      views.at( id ).entries.push_back( entry.id );
  } );
  return sorted( views );
}

std::vector< PolicerView > Unit::policerViews() const {
  std::map< U32, PolicerView > views;
  policers_.forEach( [ & ]( U32 id, const bcm_policer_config_t & config ) {
    views[ id ] = { id, config, {} };
  } );
  entries_.forEach( [ & ]( const Entry & entry ) {
    if ( entry.policer != 0 )
      views.at( entry.policer ).entries.push_back( entry.id );
  } );
  return sorted( views );
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

std::vector< SliceView > Unit::sliceViews() const {
  std::vector< SliceView > views;
  tables_.forEach( [ & ]( const StageTable & table ) {
    for ( SliceView & view : slicesOf( table ) )
      views.push_back( std::move( view ) );
  } );
  return views;
}

}  // namespace SoftAsic
