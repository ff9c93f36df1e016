// The map for a terminal: one line per slice, its rows scaled to the cells of a bar.
#include <fmt/core.h>

#include <algorithm>
#include <map>

#include "agent/report/map/MapParts.h"
#include "agent/text/TextTable.h"

namespace Map {

namespace {

using Agent::countText;
using SoftAsic::WideMode;

constexpr U32 barCells = 40;
constexpr size_t columns = 80;

// A cell of a bar.
struct Cell {
  char sign = ' ';
  RowUse use = RowUse::free;
  std::optional< char > letter = {};  // of its user
};

// Text with optional colours.
class Painter {
 public:
  explicit Painter( bool colour ) : colour_( colour ) {}

  void plain( const std::string & text ) {
    dress( "" );
    text_ += text;
  }
  void cell( const Cell & cell ) {
    dress( colour_ ? styleOf( cell ) : "" );
    text_ += cell.sign;
  }
  std::string take() {
    dress( "" );
    return std::move( text_ );
  }

 private:
  // Parameters of the SGR escape sequence.
  static std::string styleOf( const Cell & cell ) {
    switch ( cell.use ) {
      case RowUse::used:
        return fmt::format( "38;5;{};48;5;{}", colourOf( *cell.letter ).dark ? 231 : 16,
                            colourOf( *cell.letter ).terminal );
      case RowUse::setAside:
        return fmt::format( "1;38;5;{}", colourOf( *cell.letter ).terminal );
      case RowUse::unknown:
        return "1;38;5;231;48;5;160";
      case RowUse::open:
        return "38;5;245";
      case RowUse::free:
        break;
    }
    return "";
  }
  void dress( const std::string & style ) {
    if ( style == style_ )
      return;
    text_ += style_.empty() ? "" : "\033[0m";
    text_ += style.empty() ? "" : "\033[" + style + "m";
    style_ = style;
  }

  bool colour_;
  std::string style_;
  std::string text_;
};

char partly( char letter ) {
  return letter == '#' ? '+' : static_cast< char >( letter - 'A' + 'a' );
}

// Rows `first` to `end` of a slice as one cell. Precedence: an unknown entry, the user with most
// entries, the user with most rows set aside.
Cell cellOf( const SliceMap & map, const Slice & slice, U32 first, U32 end ) {
  std::map< std::pair< RowUse, U32 >, U32 > rows;  // by use and user
  for ( const Segment & segment : slice.segments ) {
    const U32 from = std::max( first, segment.first );
    const U32 to = std::min( end, segment.end() );
    if ( from < to )
      rows[ { segment.use, segment.user } ] += to - from;
  }
  std::map< RowUse, std::pair< U32, U32 > > most;  // user and rows
  for ( const auto & [ key, count ] : rows )
    if ( count > most[ key.first ].second )
      most[ key.first ] = { key.second, count };
  if ( most.contains( RowUse::unknown ) )
    return { '?', RowUse::unknown, {} };
  if ( most.contains( RowUse::used ) ) {
    const auto [ user, count ] = most[ RowUse::used ];
    const char letter = *map.users[ user ].letter;
    return { count == end - first ? letter : partly( letter ), RowUse::used, letter };
  }
  if ( most.contains( RowUse::setAside ) )
    return { ':', RowUse::setAside, map.users[ most[ RowUse::setAside ].first ].letter };
  return most.contains( RowUse::open ) ? Cell{ '.', RowUse::open, {} } : Cell{};
}

void paintBar( Painter & out, const SliceMap & map, const Slice & slice ) {
  const U32 cells = std::min( slice.rows, barCells );
  out.plain( "|" );
  for ( U32 i = 0; i < cells; ++i )
    out.cell( cellOf( map, slice, static_cast< U32 >( U64{ i } * slice.rows / cells ),
                      static_cast< U32 >( U64{ i + 1 } * slice.rows / cells ) ) );
  out.plain( "|" + std::string( barCells - cells, ' ' ) );
}

const char * wideMark( const Slice & slice ) {
  if ( slice.mode == WideMode::paired )
    return slice.secondOfPair() ? " /" : " \\";
  return slice.mode == WideMode::doubleWide ? " x2" : "";
}

void paintSlice( Painter & out, const SliceMap & map, const Slice & slice, U32 last ) {
  const std::string number =
      slice.number == last ? std::to_string( last ) : fmt::format( "{}-{}", slice.number, last );
  out.plain( fmt::format( "  {:>5} {:>6}  {:>4}{:<3} {:>5} ", number, countText( slice.rows ),
                          slice.rowBits(), wideMark( slice ),
                          slice.group ? std::to_string( *slice.group ) : "free" ) );
  paintBar( out, map, slice );
  out.plain( slice.group ? fmt::format( " {:>7}\n", countText( slice.entries() ) ) : "\n" );
}

// True if two free slices can share a line.
bool likeFree( const Slice & a, const Slice & b ) {
  return !a.group && !b.group && a.depth == b.depth && a.keyBits == b.keyBits;
}

void paintTable( Painter & out, const SliceMap & map, const TableSet & set ) {
  out.plain( fmt::format( "{}: {}\n  {}\n", stageTitle( set.table->stage ), set.where,
                          totalsText( *set.table ) ) );
  out.plain( fmt::format( "  slice   rows  bits    group |row 0{:>{}}| entries\n", "last",
                          barCells - 5 ) );
  const std::vector< Slice > & slices = set.table->slices;
  for ( size_t i = 0; i < slices.size(); ++i ) {
    const Slice & slice = slices[ i ];
    while ( i + 1 < slices.size() && likeFree( slice, slices[ i + 1 ] ) )
      ++i;
    paintSlice( out, map, slice, slices[ i ].number );
  }
  out.plain( "\n" );
}

void paintUsers( Painter & out, const SliceMap & map ) {
  std::vector< std::string > headings = { "", "user" };
  for ( const std::string & heading : userHeadings( map ) )
    headings.push_back( ">" + heading );
  Agent::TextTable table( headings );
  std::vector< std::optional< char > > letters;
  for ( const User & user : map.users ) {
    if ( !user.onChip )
      continue;
    std::vector< std::string > cells = userCells( map, user );
    cells.insert( cells.begin(),
                  { user.letter ? std::string( 1, *user.letter ) : "", user.title() } );
    table.add( std::move( cells ) );
    letters.push_back( user.letter );
  }
  if ( letters.empty() )
    return;
  const std::string text = table.text();
  size_t at = text.find( '\n', text.find( '\n' ) + 1 ) + 1;  // after headings and rule
  out.plain( text.substr( 0, at ) );
  for ( const std::optional< char > letter : letters ) {
    const size_t end = text.find( '\n', at ) + 1;
    out.plain( "  " );
    out.cell( letter ? Cell{ *letter, RowUse::used, letter } : Cell{} );
    out.plain( text.substr( at + 3, end - at - 3 ) );
    at = end;
  }
}

void paintKey( Painter & out, const SliceMap & map ) {
  out.plain( fmt::format(
      "\nA bar is a slice, a cell 1/{} of its rows, or one row; a row holds one entry\n",
      barCells ) );
  const auto line = [ & ]( const Cell & cell, const char * text ) {
    out.plain( "  " );
    out.cell( cell );
    out.plain( text );
  };
  const bool any = std::any_of( map.users.begin(), map.users.end(),
                                []( const User & user ) { return user.letter == 'A'; } );
  const RowUse used = any ? RowUse::used : RowUse::free;
  line( { 'A', used, 'A' }, "  entries of A in all rows of the cell, " );
  out.cell( { 'a', used, 'A' } );
  out.plain( " in some of them\n" );
  line( { ':', any ? RowUse::setAside : RowUse::free, 'A' },
        "  reserved but unused: set aside in the chip for a user\n" );
  line( { '.', RowUse::open, {} },
        "  reserved but unused: open to the users of the group that has the slice\n" );
  line( { '?', RowUse::unknown, {} }, "  entries that the library has not recorded\n" );
  out.plain(
      "  x2 double-wide: an entry takes two rows of the chip\n"
      "  \\ / a pair: an entry takes the same row of both slices\n" );
  if ( hasTwins( map ) )
    out.plain( fmt::format( "  {}\n", twinsText ) );
}

}  // namespace

std::string textMap( const SliceMap & map, const PictureOptions & options ) {
  Painter out( options.colour );
  if ( !map.title.empty() )
    out.plain( map.title + "\n\n" );
  for ( const std::string & note : map.notes )
    out.plain( note + "\n" );
  if ( !map.notes.empty() )
    out.plain( "\n" );
  for ( const TableSet & set : tableSets( map, options.all ) )
    paintTable( out, map, set );
  out.plain( "Users\n" );
  paintUsers( out, map );
  for ( const std::string & line : absentUsers( map, columns - 2 ) )
    out.plain( "  " + line + "\n" );
  paintKey( out, map );
  return out.take();
}

}  // namespace Map
