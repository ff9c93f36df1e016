#include "agent/verdict/Resources.h"

#include <fmt/core.h>

#include <algorithm>
#include <map>
#include <set>

#include "agent/feature/AclShares.h"
#include "agent/text/TextTable.h"
#include "softasic/InstanceId.h"

namespace Agent {

namespace {

constexpr U32 unit = SwitchSession::unit;
constexpr U32 chunkBytes = 4;

using SoftAsic::SliceView;

// The tables of all pipes and copies are alike.
template < class View >
bool isFirstCopy( const View & view ) {
  return view.pipe == 0 && view.copy == 0;
}

class Census {
 public:
  Census( SwitchSession & session, const std::vector< const Acl * > & acls )
      : session_( session ), chip_( session.platform().chip ), acls_( acls ) {}

  std::vector< ResourceUse > take();

 private:
  using Wants = bool ( * )( const AclRule & );

  void add( const std::string & name, U64 used, U64 total, const std::string & holders );
  void addShares();
  void addSlices();
  void addKeys();
  void addStatistics();
  void addPools();
  std::string listsIn( U32 group ) const;
  std::string holderOf( U32 group ) const;
  std::string listsWith( Wants wants ) const;

  SwitchSession & session_;
  const SoftAsic::ChipProfile & chip_;
  const std::vector< const Acl * > & acls_;
  std::vector< ResourceUse > uses_;
};

// What the chip lacks is not a resource.
void Census::add( const std::string & name, U64 used, U64 total, const std::string & holders ) {
  if ( total != 0 )
    uses_.push_back( { name, used, total, used == 0 ? "" : holders } );
}

std::string Census::listsIn( U32 group ) const {
  std::vector< std::string > names;
  for ( const Acl * acl : acls_ )
    if ( shareOf( session_.platform(), classOf( *acl ) )->group == group )
      names.push_back( acl->name );
  return namesText( names );
}

// The lists of a group, or its users if no list is in it.
std::string Census::holderOf( U32 group ) const {
  const std::string lists = listsIn( group );
  if ( !lists.empty() )
    return lists;
  std::vector< std::string > users;
  for ( const Platform::ReservationData & user : session_.platform().reservations )
    if ( user.group == group &&
         session_.groupManager().entryManager( user.assignment )->entriesAllocated( unit ) != 0 )
      users.push_back( user.name );
  return users.empty() ? fmt::format( "group {}", group ) : namesText( users );
}

std::string Census::listsWith( Wants wants ) const {
  std::vector< std::string > names;
  for ( const Acl * acl : acls_ )
    if ( std::any_of( acl->rules.begin(), acl->rules.end(), wants ) )
      names.push_back( acl->name );
  return namesText( names );
}

void Census::addShares() {
  std::set< const Platform::ReservationData * > seen;
  for ( const Acl * acl : acls_ ) {
    const Platform::ReservationData & share = *shareOf( session_.platform(), classOf( *acl ) );
    if ( !seen.insert( &share ).second )
      continue;
    const auto manager = session_.groupManager().entryManager( share.assignment );
    std::vector< std::string > names;
    for ( const Acl * other : acls_ )
      if ( shareOf( session_.platform(), classOf( *other ) ) == &share )
        names.push_back( other->name );
    add( "entries of " + share.name, manager->entriesAllocated( unit ), share.size,
         namesText( names ) );
  }
}

// Slices of one kind in one stage.
struct SliceKind {
  SoftAsic::StageKind stage;
  U32 depth;
  U32 keyBits;
  friend auto operator<=>( const SliceKind &, const SliceKind & ) = default;
};

void Census::addSlices() {
  struct Count {
    U64 used = 0;
    U64 total = 0;
    std::map< U32, U32 > groups = {};  // slices
  };
  std::map< SliceKind, Count > kinds;
  for ( const SliceView & slice : session_.chip().slices( unit ) ) {
    if ( !isFirstCopy( slice ) )
      continue;
    Count & count = kinds[ { slice.stage, slice.depth, slice.keyBits } ];
    ++count.total;
    if ( slice.group ) {
      ++count.used;
      ++count.groups[ SoftAsic::idNumber( *slice.group ) ];
    }
  }
  for ( const auto & [ kind, count ] : kinds ) {
    std::string holders;
    for ( const auto & [ group, slices ] : count.groups )
      holders += fmt::format( "{}{}: {}", holders.empty() ? "" : "; ", holderOf( group ), slices );
    add( fmt::format( "{} slices of {} x {} bits", SoftAsic::stageName( kind.stage ), kind.depth,
                      kind.keyBits ),
         count.used, count.total, holders );
  }
}

void Census::addKeys() {
  std::map< U32, U32 > widths;  // of rows, by group
  for ( const SliceView & slice : session_.chip().slices( unit ) )
    if ( isFirstCopy( slice ) && slice.group )
      widths[ *slice.group ] = slice.rowBits();
  for ( const auto & [ group, width ] : widths )
    add( fmt::format( "key bits of group {}", SoftAsic::idNumber( group ) ),
         session_.chip().group( unit, group )->keyBits, width,
         holderOf( SoftAsic::idNumber( group ) ) );
}

void Census::addStatistics() {
  for ( const SoftAsic::TableView & table : session_.chip().tables( unit ) )
    if ( isFirstCopy( table ) )
      add( fmt::format( "{} statistics", SoftAsic::stageName( table.stage ) ),
           table.statistics - table.freeStatistics, table.statistics,
           listsWith( []( const AclRule & rule ) {
             return rule.counters.packets || rule.counters.bytes || rule.police;
           } ) );
}

void Census::addPools() {
  const SoftAsic::SoftAsic & chip = session_.chip();
  add( "range checkers", chip.ranges( unit ).size(), chip_.rangeCheckers,
       listsWith( []( const AclRule & rule ) { return !checkerRanges( rule ).empty(); } ) );
  add( "policers of a pipe", policersInUse( session_ ), chip_.policers,
       listsWith( []( const AclRule & rule ) { return rule.police.has_value(); } ) );
  const std::string users = listsWith( []( const AclRule & rule ) { return !rule.udf.empty(); } );
  add( "UDF chunks", udfChunksInUse( session_ ), chip_.dataChunks, users );
  add( "UDF packet formats", udfFormatsInUse( session_ ), chip_.dataFormats, users );
  add( "preselectors", chip.preselectors( unit ).size(), chip_.preselectors, "groups" );
}

std::vector< ResourceUse > Census::take() {
  addShares();
  addSlices();
  addKeys();
  addStatistics();
  addPools();
  return std::move( uses_ );
}

}  // namespace

std::vector< ResourceUse > resourcesOf( SwitchSession & session,
                                        const std::vector< const Acl * > & acls ) {
  return Census( session, acls ).take();
}

U64 policersInUse( const SwitchSession & session ) {
  const auto policers = session.chip().policers( unit );
  return static_cast< U64 >(
      std::count_if( policers.begin(), policers.end(), []( const SoftAsic::PolicerView & policer ) {
        return SoftAsic::idPipe( policer.id ) == 0;
      } ) );
}

U64 udfFormatsInUse( const SwitchSession & session ) {
  U64 formats = 0;
  for ( const SoftAsic::DataQualifierView & field : session.chip().dataQualifiers( unit ) )
    formats += field.formats.size() + field.etherTypes.size();
  return formats;
}

U64 udfChunksInUse( const SwitchSession & session ) {
  U64 chunks = 0;
  for ( const SoftAsic::DataQualifierView & field : session.chip().dataQualifiers( unit ) )
    chunks += static_cast< U64 >( field.record.length ) / chunkBytes;
  return chunks;
}

}  // namespace Agent
