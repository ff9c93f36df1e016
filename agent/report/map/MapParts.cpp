#include "agent/report/map/MapParts.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <set>

#include "agent/text/TextTable.h"

namespace Map {

namespace {

using Agent::countText;
using Agent::percentText;

// Okabe and Ito's palette without black, then distinguishable additions.
constexpr std::array< Colour, 10 > colours = { { { "#56b4e9", 74, false },
                                                 { "#e69f00", 214, false },
                                                 { "#009e73", 36, true },
                                                 { "#cc79a7", 175, false },
                                                 { "#0072b2", 25, true },
                                                 { "#f0e442", 227, false },
                                                 { "#d55e00", 166, true },
                                                 { "#999933", 143, false },
                                                 { "#332288", 55, true },
                                                 { "#882255", 89, true } } };

// "pipe 2", or "pipes 0-3".
std::string numbersText( const char * one, const char * several, const std::set< U32 > & numbers ) {
  return numbers.size() == 1
             ? fmt::format( "{} {}", one, *numbers.begin() )
             : fmt::format( "{} {}-{}", several, *numbers.begin(), *numbers.rbegin() );
}

// Location of the identical tables `alike` of a stage with `stageTables` tables.
std::string whereText( const std::vector< const Table * > & alike, size_t stageTables ) {
  if ( stageTables == 1 )
    return "one table for all ports";
  if ( alike.size() == 1 )
    return fmt::format( "pipe {} copy {}", alike[ 0 ]->pipe, alike[ 0 ]->copy );
  if ( alike.size() < stageTables ) {
    std::string text = "pipe/copy ";
    for ( const Table * table : alike )
      text += fmt::format( "{}{}/{}", table == alike[ 0 ] ? "" : ", ", table->pipe, table->copy );
    return text + ": the same";
  }
  std::set< U32 > pipes;
  std::set< U32 > copies;
  for ( const Table * table : alike ) {
    pipes.insert( table->pipe );
    copies.insert( table->copy );
  }
  return numbersText( "pipe", "pipes", pipes ) + ", " + numbersText( "copy", "copies", copies ) +
         ": the same";
}

}  // namespace

std::vector< TableSet > tableSets( const SliceMap & map, bool all ) {
  std::vector< std::vector< const Table * > > sets;
  for ( const Table & table : map.tables ) {
    const auto same = std::find_if( sets.begin(), sets.end(), [ & ]( const auto & set ) {
      return !all && set[ 0 ]->stage == table.stage && set[ 0 ]->slices == table.slices;
    } );
    if ( same == sets.end() )
      sets.push_back( { &table } );
    else
      same->push_back( &table );
  }
  std::vector< TableSet > named;
  for ( const auto & set : sets ) {
    const auto ofStage =
        std::count_if( map.tables.begin(), map.tables.end(),
                       [ & ]( const Table & table ) { return table.stage == set[ 0 ]->stage; } );
    named.push_back( { set[ 0 ], whereText( set, static_cast< size_t >( ofStage ) ) } );
  }
  return named;
}

std::string stageTitle( SoftAsic::StageKind stage ) {
  const char * const purposes[ SoftAsic::stageKinds ] = { "lookup", "ingress", "egress" };
  return fmt::format( "{}, {}", SoftAsic::stageName( stage ),
                      purposes[ static_cast< U32 >( stage ) ] );
}

std::string totalsText( const Table & table ) {
  const U32 entries = table.entries();
  if ( table.freeSlices() == table.slices.size() )
    return fmt::format( "all {} slices free", table.slices.size() );
  const U32 rows = entries + table.openRows();
  const size_t taken = table.slices.size() - table.freeSlices();
  return fmt::format( "{} of {} rows used ({}), {} open; {} of {} slices taken ({})",
                      countText( entries ), countText( rows ), percentText( entries, rows ),
                      countText( table.openRows() ), taken, table.slices.size(),
                      percentText( taken, table.slices.size() ) );
}

std::string useText( const SliceMap & map, const Slice & slice, const Segment & segment ) {
  switch ( segment.use ) {
    case RowUse::used:
      return map.users[ segment.user ].name;
    case RowUse::setAside:
      return "set aside for " + map.users[ segment.user ].name;
    case RowUse::open:
      return fmt::format( "open to group {}", *slice.group );
    case RowUse::free:
      return "free";
    case RowUse::unknown:
      break;
  }
  return "not recorded";
}

std::vector< std::string > absentUsers( const SliceMap & map, size_t columns ) {
  std::vector< std::string > lines;
  for ( const User & user : map.users ) {
    if ( user.onChip )
      continue;
    if ( lines.empty() )
      lines.push_back( "Without slices: " + user.name );
    else if ( lines.back().size() + 3 + user.name.size() <= columns )
      lines.back() += ", " + user.name;
    else {
      lines.back() += ",";
      lines.push_back( user.name );
    }
  }
  return lines;
}

bool hasTwins( const SliceMap & map ) {
  return std::any_of(
      map.users.begin(), map.users.end(), []( const User & user ) { return user.twins != 0; } );
}

std::vector< std::string > userHeadings( const SliceMap & map ) {
  std::vector< std::string > headings = { "group",   "share",     "used",
                                          "percent", "available", "set aside" };
  if ( hasTwins( map ) )
    headings.emplace_back( "twins" );
  return headings;
}

std::vector< std::string > userCells( const SliceMap & map, const User & user ) {
  std::vector< std::string > cells = {
      std::to_string( user.group ), user.share ? countText( *user.share ) : "no limit",
      countText( user.used ),       user.share ? percentText( user.used, *user.share ) : "-",
      countText( user.available ),  countText( user.setAside ) };
  if ( hasTwins( map ) )
    cells.push_back( countText( user.twins ) );
  return cells;
}

const Colour & colourOf( char letter ) {
  return colours[ static_cast< size_t >( letter < 'A' ? 0 : letter - 'A' ) % colours.size() ];
}

}  // namespace Map
