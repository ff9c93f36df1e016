#include "agent/report/map/SliceMap.h"

#include <algorithm>
#include <map>

#include "agent/text/TextTable.h"

namespace Map {

namespace {

using EntryManager = Morvane::MorvaneTcamEntryManager;

// Owner of an entry, by entry number.
struct Owner {
  U32 user = 0;
  bool given = false;  // allocated; otherwise set aside
};
using Owners = std::map< U32, Owner >;

void readRecords( const EntryManager & manager, U32 unit, User & user, U32 index,
                  Owners & owners ) {
  user.name = manager.desc().charPtr();
  user.group = manager.group();
  if ( manager.endEntry() != manager.baseEntry() )
    user.share = manager.endEntry() - manager.baseEntry();
  const Kiv::Ptr< Morvane::UnitEntriesCreated > records = manager.internalUnitEntry( unit );
  if ( !records )
    return;
  user.used = records->entryCreatedSize();
  for ( auto it = records->entryCreatedIterConst(); it; ++it )
    owners[ it.key() ] = { index, true };
  if ( records->rangeCreated() )
    for ( U32 entry = manager.baseEntry(); entry < manager.endEntry(); ++entry )
      owners.try_emplace( entry, Owner{ index, false } );
}

class MapMaker {
 public:
  MapMaker( const Morvane::MorvaneTcamGroupManager & manager, U32 unit );
  void add( const SoftAsic::SliceView & view );
  // What the users on the chip could still get.
  void askAvailable( U32 unit );
  SliceMap finish();

 private:
  Table & tableOf( const SoftAsic::SliceView & view );
  Segment rowOf( const SoftAsic::SliceView & view, U32 row ) const;
  void count( const Segment & segment, bool firstCopy );

  const Morvane::MorvaneTcamGroupManager & manager_;
  Owners owners_;
  SliceMap map_;
  std::vector< Kiv::Ptr< EntryManager > > records_;  // by user
  std::vector< bool > hasRows_;                      // likewise
};

MapMaker::MapMaker( const Morvane::MorvaneTcamGroupManager & manager, U32 unit )
    : manager_( manager ) {
  for ( const Morvane::TcamReservation * reservation : manager.getTcamReservationData() )
    if ( const Kiv::Ptr< EntryManager > user = manager.managerOf( *reservation ) ) {
      map_.users.emplace_back();
      records_.push_back( user );
      readRecords( *user, unit, map_.users.back(), static_cast< U32 >( map_.users.size() - 1 ),
                   owners_ );
    }
  hasRows_.resize( map_.users.size() );
}

Table & MapMaker::tableOf( const SoftAsic::SliceView & view ) {
  if ( map_.tables.empty() || map_.tables.back().stage != view.stage ||
       map_.tables.back().pipe != view.pipe || map_.tables.back().copy != view.copy )
    map_.tables.push_back( { view.stage, view.pipe, view.copy, {} } );
  return map_.tables.back();
}

Segment MapMaker::rowOf( const SoftAsic::SliceView & view, U32 row ) const {
  const auto entry = view.entries.find( row );
  if ( entry == view.entries.end() )
    return { view.group ? RowUse::open : RowUse::free, 0, row, 1, 0 };
  const auto owner = owners_.find( Morvane::tcamNumberBits.get( entry->second ) );
  if ( owner == owners_.end() )
    return { RowUse::unknown, 0, row, 1, 0 };
  const bool twin = Morvane::tcamPipeBits.get( entry->second ) != 0 &&
                    manager_.ovidWar( Morvane::tcamNumberBits.get( *view.group ) );
  return { owner->second.given ? RowUse::used : RowUse::setAside, owner->second.user, row, 1,
           twin ? 1U : 0U };
}

void MapMaker::add( const SoftAsic::SliceView & view ) {
  Slice slice;
  slice.number = view.number;
  slice.depth = view.depth;
  slice.keyBits = view.keyBits;
  slice.mode = view.mode;
  slice.rows = view.rows;
  if ( view.group )
    slice.group = Morvane::tcamNumberBits.get( *view.group );
  for ( U32 row = 0; row < view.rows; ++row ) {
    const Segment next = rowOf( view, row );
    if ( slice.segments.empty() || slice.segments.back().use != next.use ||
         slice.segments.back().user != next.user ) {
      slice.segments.push_back( next );
    } else {
      ++slice.segments.back().rows;
      slice.segments.back().twins += next.twins;
    }
  }
  for ( User & user : map_.users )
    user.onChip = user.onChip || slice.group == user.group;
  for ( const Segment & segment : slice.segments )
    count( segment, view.pipe == 0 && view.copy == 0 && !slice.secondOfPair() );
  tableOf( view ).slices.push_back( std::move( slice ) );
}

void MapMaker::count( const Segment & segment, bool firstCopy ) {
  if ( segment.use != RowUse::used && segment.use != RowUse::setAside )
    return;
  hasRows_[ segment.user ] = true;
  if ( !firstCopy )
    return;
  User & user = map_.users[ segment.user ];
  user.twins += segment.twins;
  user.setAside += segment.use == RowUse::setAside ? segment.rows : 0;
}

void MapMaker::askAvailable( U32 unit ) {
  for ( size_t i = 0; i < records_.size(); ++i )
    if ( map_.users[ i ].onChip )
      map_.users[ i ].available = records_[ i ]->entriesAvailable( unit );
}

SliceMap MapMaker::finish() {
  char next = 'A';
  for ( U32 i = 0; i < hasRows_.size(); ++i )
    if ( hasRows_[ i ] )
      map_.users[ i ].letter = next > 'Z' ? '#' : next++;
  return std::move( map_ );
}

}  // namespace

std::string User::title() const {
  return lists.empty() ? name : name + ": " + Agent::namesText( lists );
}

U32 Slice::rowsOf( RowUse use ) const {
  U32 count = 0;
  for ( const Segment & segment : segments )
    count += segment.use == use ? segment.rows : 0;
  return count;
}

U32 Table::entries() const {
  U32 count = 0;
  for ( const Slice & slice : slices )
    count += slice.secondOfPair() ? 0 : slice.entries();
  return count;
}

U32 Table::openRows() const {
  U32 count = 0;
  for ( const Slice & slice : slices )
    count += slice.secondOfPair() ? 0 : slice.rowsOf( RowUse::open );
  return count;
}

U32 Table::freeSlices() const {
  return static_cast< U32 >( std::count_if(
      slices.begin(), slices.end(), []( const Slice & slice ) { return !slice.group; } ) );
}

SliceMap sliceMap( const Morvane::MorvaneTcamGroupManager & manager,
                   const SoftAsic::SoftAsic & chip, U32 unit ) {
  MapMaker maker( manager, unit );
  for ( const SoftAsic::SliceView & view : chip.slices( unit ) )
    maker.add( view );
  maker.askAvailable( unit );
  return maker.finish();
}

}  // namespace Map
