// The map as an SVG file. Slices are aligned at the top, with row 0 first. Heights are to scale
// within a slice; between slices they grow with the square root of the depth, so that slices of 256
// and 8,192 rows are both readable.
#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "agent/report/map/MapParts.h"
#include "agent/text/TextTable.h"
#include "agent/text/XmlText.h"

namespace Map {

namespace {

using Agent::countText;
using Agent::xmlEscaped;
using SoftAsic::WideMode;

// Lengths in pixels.
constexpr double margin = 28;
constexpr double sliceWidth = 46;
constexpr double slicePitch = 52;
constexpr U32 slicesInLine = 20;
constexpr double tallest = 260;       // slice of a table with groups
constexpr double tallestUnused = 64;  // slice of a table without groups
constexpr double shortest = 26;
constexpr double headHeight = 52;    // labels above a slice
constexpr double markHeight = 16;    // marks of wide slices
constexpr double thinnest = 2;       // segment, so that a single entry is visible
constexpr double letterHeight = 14;  // segments at least this high show the letter
constexpr double badgeWidth = 15;
constexpr size_t badgesInLine = 3;
constexpr double columnPitch = 76;  // user table
constexpr double lineHeight = 20;
// Character widths of DejaVu Sans, the widest of the fonts used.
constexpr double smallWidth = 5.6;     // average at 10 px
constexpr double textWidth = 6.8;      // at 12 px
constexpr double digitWidth = 7.6;     // digit or wide letter at 12 px
constexpr size_t absentColumns = 140;  // characters

class Drawing {
 public:
  Drawing( const SliceMap & map, const PictureOptions & options )
      : map_( map ), sets_( tableSets( map, options.all ) ) {}
  std::string take();

 private:
  template < class... A >
  void put( fmt::format_string< A... > format, A &&... args ) {
    body_ += fmt::format( format, std::forward< A >( args )... ) + "\n";
  }
  void text( double x, double y, const char * looks, const std::string & words ) {
    put( R"(<text x="{:.1f}" y="{:.1f}" class="{}">{}</text>)", x, y, looks, xmlEscaped( words ) );
    width_ = std::max( width_, x + 2 * margin );
  }
  // Left-aligned text; widens the picture to fit.
  void line( const char * looks, double characterWidth, const std::string & words );

  void drawTitle();
  void drawUsers();
  void drawAbsentUsers();
  void drawUserRow( double nameAt, double firstEnd, const std::string & name,
                    const std::vector< std::string > & cells );
  void drawKey();
  void drawTable( const TableSet & set );
  void drawSlice( const Slice & slice, double x, double top, double height, bool marks );
  void drawSegment( const Slice & slice, const Segment & segment, double x, double top,
                    double height );
  void drawBadge( double x, double y, char letter );
  void drawBadges( const Slice & slice, double middle, double y );
  std::string fillOf( const Segment & segment ) const;
  std::string patterns() const;

  const SliceMap & map_;
  const std::vector< TableSet > sets_;
  std::string body_;
  double y_ = margin;
  double width_ = 760;
};

void Drawing::line( const char * looks, double characterWidth, const std::string & words ) {
  text( margin, y_, looks, words );
  width_ = std::max( width_, 2 * margin + characterWidth * static_cast< double >( words.size() ) );
}

void Drawing::drawTitle() {
  y_ += 12;
  line( "title", 11, "TCAM slices" );
  if ( !map_.title.empty() ) {
    y_ += 22;
    line( "text", textWidth, map_.title );
  }
  for ( const std::string & note : map_.notes ) {
    y_ += lineHeight;
    line( "note", 7, note );
  }
  y_ += 34;
}

std::string Drawing::fillOf( const Segment & segment ) const {
  switch ( segment.use ) {
    case RowUse::used:
      return colourOf( *map_.users[ segment.user ].letter ).hex;
    case RowUse::setAside:
      return fmt::format( "url(#aside{})", segment.user );
    case RowUse::open:
      return "url(#open)";
    case RowUse::free:
      return "#ffffff";
    case RowUse::unknown:
      break;
  }
  return "#000000";
}

void Drawing::drawSegment( const Slice & slice, const Segment & segment, double x, double top,
                           double height ) {
  const double perRow = height / slice.rows;
  const double from = top + segment.first * perRow;
  const double high = std::max( thinnest, segment.rows * perRow );
  const double y = std::min( from, top + height - high );
  std::string what = useText( map_, slice, segment );
  what += segment.rows == 1 ? fmt::format( ", row {}", segment.first )
                            : fmt::format( ", rows {}-{}: {}", segment.first, segment.end() - 1,
                                           countText( segment.rows ) );
  if ( segment.twins != 0 )
    what += fmt::format( ", of these {} twins", countText( segment.twins ) );
  put(
      R"(<rect x="{:.1f}" y="{:.2f}" width="{:.1f}" height="{:.2f}" fill="{}"><title>{}</title></rect>)",
      x, y, sliceWidth, high, fillOf( segment ), xmlEscaped( what ) );
  const bool lettered = segment.use == RowUse::used || segment.use == RowUse::setAside;
  if ( !lettered || high < letterHeight )
    return;
  const char letter = *map_.users[ segment.user ].letter;
  const bool white = segment.use == RowUse::used && colourOf( letter ).dark;
  if ( segment.use == RowUse::setAside )
    put( R"(<circle cx="{:.1f}" cy="{:.1f}" r="7" fill="#ffffff"/>)", x + sliceWidth / 2,
         y + high / 2 );
  text( x + sliceWidth / 2, y + high / 2 + 4, white ? "letter white" : "letter",
        std::string( 1, letter ) );
}

// Colour and letter of a user; y is the letter's baseline.
void Drawing::drawBadge( double x, double y, char letter ) {
  const Colour & colour = colourOf( letter );
  put( R"(<rect x="{:.1f}" y="{:.1f}" width="{}" height="13" fill="{}"/>)", x, y - 10.5, badgeWidth,
       colour.hex );
  text( x + badgeWidth / 2.0, y, colour.dark ? "letter white" : "letter",
        std::string( 1, letter ) );
}

// Users of a slice, since segments can be too thin to show.
void Drawing::drawBadges( const Slice & slice, double middle, double y ) {
  std::set< char > letters;
  for ( const Segment & segment : slice.segments )
    if ( segment.use == RowUse::used || segment.use == RowUse::setAside )
      letters.insert( *map_.users[ segment.user ].letter );
  const size_t count = std::min( letters.size(), badgesInLine );
  double x = middle - badgeWidth * static_cast< double >( count ) / 2;
  for ( const char letter : letters ) {
    if ( x + badgeWidth > middle + sliceWidth / 2 + 1 )
      break;
    drawBadge( x, y, letter );
    x += badgeWidth;
  }
}

void Drawing::drawSlice( const Slice & slice, double x, double top, double height, bool marks ) {
  const double middle = x + sliceWidth / 2;
  const double head = top - ( marks ? markHeight : 0 );
  put( "<g>" );
  put(
      "<title>{}</title>",
      xmlEscaped( fmt::format(
          "slice {}: {} rows of {} bits, {}", slice.number, countText( slice.depth ), slice.keyBits,
          slice.group ? fmt::format( "group {}, {} of {} entries", *slice.group,
                                     countText( slice.entries() ), countText( slice.rows ) )
                      : "free" ) ) );
  text( middle, head - 32, "number", std::to_string( slice.number ) );
  if ( slice.group ) {
    text( middle, head - 19, "small", fmt::format( "group {}", *slice.group ) );
    text( middle, head - 7, "small",
          fmt::format( "{:.1f} %", 100.0 * slice.entries() / slice.rows ) );
  } else {
    text( middle, head - 19, "small pale", "free" );
  }
  if ( slice.mode == WideMode::doubleWide )
    text( middle, top - 6, "small bold", "double" );
  // Segments below one pixel overlap: draw entries last, so that they stay visible.
  for ( const bool entries : { false, true } )
    for ( const Segment & segment : slice.segments )
      if ( entries == ( segment.use != RowUse::open && segment.use != RowUse::free ) )
        drawSegment( slice, segment, x, top, height );
  put( R"(<rect x="{:.1f}" y="{:.2f}" width="{:.1f}" height="{:.2f}" class="frame"/>)", x, top,
       sliceWidth, height );
  text( middle, top + height + 13, "small pale", countText( slice.rows ) );
  drawBadges( slice, middle, top + height + 30 );
  put( "</g>" );
  if ( slice.mode == WideMode::paired && !slice.secondOfPair() ) {
    const double end = middle + slicePitch;
    put( R"(<path d="M{:.1f} {:.1f}v-6H{:.1f}v6" class="bracket"/>)", middle, top - 3, end );
    put( R"(<rect x="{:.1f}" y="{:.1f}" width="28" height="12" fill="#ffffff"/>)",
         ( middle + end ) / 2 - 14, top - 15 );
    text( ( middle + end ) / 2, top - 6, "small bold", "pair" );
  }
}

void Drawing::drawTable( const TableSet & set ) {
  const std::vector< Slice > & slices = set.table->slices;
  put(
      R"(<text x="{:.1f}" y="{:.1f}" class="stage">{}<tspan class="text" dx="10">{}</tspan></text>)",
      margin, y_, xmlEscaped( stageTitle( set.table->stage ) ), xmlEscaped( set.where ) );
  width_ =
      std::max( width_, 2 * margin + 160 + textWidth * static_cast< double >( set.where.size() ) );
  y_ += 18;
  line( "text pale", textWidth, totalsText( *set.table ) );
  U32 deepest = 1;
  for ( const Slice & slice : slices )
    deepest = std::max( deepest, slice.depth );
  const double full = set.table->freeSlices() == slices.size() ? tallestUnused : tallest;
  for ( size_t begin = 0; begin < slices.size(); begin += slicesInLine ) {
    const size_t end = std::min( slices.size(), begin + slicesInLine );
    bool wide = false;
    for ( size_t i = begin; i < end; ++i )
      wide = wide || slices[ i ].mode != WideMode::single;
    const double top = y_ + headHeight + ( wide ? markHeight : 0 );
    double lowest = 0;
    for ( size_t i = begin; i < end; ++i ) {
      const double height = std::max(
          shortest, full * std::sqrt( static_cast< double >( slices[ i ].depth ) / deepest ) );
      drawSlice( slices[ i ], margin + slicePitch * static_cast< double >( i - begin ), top, height,
                 wide );
      lowest = std::max( lowest, height );
    }
    y_ = top + lowest + 30;
  }
  const size_t broadest = std::min( slices.size(), size_t{ slicesInLine } );
  width_ = std::max( width_, 2 * margin + slicePitch * static_cast< double >( broadest ) );
  y_ += 34;
}

void Drawing::drawUserRow( double nameAt, double firstEnd, const std::string & name,
                           const std::vector< std::string > & cells ) {
  text( nameAt, y_, "text", name );
  for ( size_t i = 0; i < cells.size(); ++i )
    text( firstEnd + columnPitch * static_cast< double >( i ), y_, "text end", cells[ i ] );
}

void Drawing::drawUsers() {
  const double nameAt = margin + 28;
  size_t longest = 10;
  for ( const User & user : map_.users )
    longest = std::max( longest, user.onChip ? user.title().size() : 0 );
  const double firstEnd = nameAt + digitWidth * static_cast< double >( longest ) + 52;
  const std::vector< std::string > headings = userHeadings( map_ );
  put( R"(<g class="bold">)" );
  drawUserRow( nameAt, firstEnd, "user", headings );
  put( "</g>" );
  put( R"(<path d="M{:.1f} {:.1f}H{:.1f}" class="rule"/>)", margin, y_ + 6,
       firstEnd + columnPitch * static_cast< double >( headings.size() - 1 ) );
  for ( const User & user : map_.users ) {
    if ( !user.onChip )
      continue;
    y_ += lineHeight;
    if ( user.letter )
      drawBadge( margin, y_, *user.letter );
    drawUserRow( nameAt, firstEnd, user.title(), userCells( map_, user ) );
  }
  y_ += lineHeight + 4;
}

void Drawing::drawAbsentUsers() {
  for ( const std::string & names : absentUsers( map_, absentColumns ) ) {
    line( "small left pale", smallWidth, names );
    y_ += 14;
  }
}

void Drawing::drawKey() {
  struct Sample {
    const char * fill;
    const char * words;
    double width;
  };
  const Sample samples[] = { { "#6e6e6e", "entries, in their user's colour", 206 },
                             { "url(#asideKey)", "reserved: set aside for its user", 226 },
                             { "url(#open)", "reserved: open to the slice's group", 240 },
                             { "#ffffff", "free", 64 },
                             { "#000000", "not recorded", 160 } };
  y_ += 8;
  double x = margin;
  for ( const Sample & sample : samples ) {
    put( R"(<rect x="{:.1f}" y="{:.1f}" width="18" height="14" fill="{}"/>)", x, y_ - 11,
         sample.fill );
    put( R"(<rect x="{:.1f}" y="{:.1f}" width="18" height="14" class="frame"/>)", x, y_ - 11 );
    text( x + 25, y_, "text", sample.words );
    x += sample.width + 18;
  }
  width_ = std::max( width_, x + margin );
  y_ += lineHeight;
  std::vector< std::string > words = {
      "A slice's rows run from top to bottom; a row holds one entry. The height of a slice follows "
      "the root of its depth.",
      "double: double-wide, an entry takes two rows of the chip. pair: an entry takes the same row "
      "of both slices." };
  if ( hasTwins( map_ ) )
    words.emplace_back( twinsText );
  for ( const std::string & sentence : words ) {
    line( "small left pale", smallWidth, sentence );
    y_ += 14;
  }
  y_ += 26;
}

// Stripes of width `thick` every `pitch` pixels.
std::string hatch( const std::string & id, const char * ground, const char * stroke, U32 pitch,
                   U32 thick ) {
  return fmt::format(
      R"svg(<pattern id="{0}" width="{1}" height="{1}" patternUnits="userSpaceOnUse" patternTransform="rotate(45)"><path d="M0 0h{1}v{1}h-{1}z" fill="{2}"/><path d="M0 0v{1}" stroke="{3}" stroke-width="{4}"/></pattern>
)svg",
      id, pitch, ground, stroke, thick );
}

std::string Drawing::patterns() const {
  std::string text =
      hatch( "open", "#f4f4f4", "#d0d0d0", 6, 2 ) + hatch( "asideKey", "#ffffff", "#6e6e6e", 6, 6 );
  for ( U32 user = 0; user < map_.users.size(); ++user )
    if ( const std::optional< char > letter = map_.users[ user ].letter )
      text += hatch( fmt::format( "aside{}", user ), "#ffffff", colourOf( *letter ).hex, 6, 6 );
  return text;
}

std::string Drawing::take() {
  drawTitle();
  if ( std::any_of( map_.users.begin(), map_.users.end(),
                    []( const User & user ) { return user.onChip; } ) )
    drawUsers();
  drawAbsentUsers();
  drawKey();
  for ( const TableSet & set : sets_ )
    drawTable( set );
  const double height = y_ - 20;
  return fmt::format(
             R"(<?xml version="1.0" encoding="UTF-8"?>
<svg xmlns="http://www.w3.org/2000/svg" width="{0:.0f}" height="{1:.0f}" viewBox="0 0 {0:.0f} {1:.0f}" role="img">
<title>{2}</title>
<style>
text {{ font-family: Helvetica, Arial, "Liberation Sans", "DejaVu Sans", sans-serif; fill: #1a1a1a; }}
.title {{ font-size: 20px; font-weight: bold; }}
.stage {{ font-size: 15px; font-weight: bold; }}
.text {{ font-size: 12px; font-weight: normal; }}
.note {{ font-size: 12px; font-weight: bold; fill: #b00020; }}
.number {{ font-size: 12px; font-weight: bold; text-anchor: middle; }}
.small {{ font-size: 10px; text-anchor: middle; }}
.letter {{ font-size: 11px; font-weight: bold; text-anchor: middle; pointer-events: none; }}
.left {{ text-anchor: start; }}
.end {{ text-anchor: end; }}
.bold, .bold text {{ font-weight: bold; }}
.pale {{ fill: #5a5a5a; }}
.white {{ fill: #ffffff; }}
.frame, .bracket, .rule {{ fill: none; stroke: #4d4d4d; pointer-events: none; }}
.rule {{ stroke: #b0b0b0; }}
</style>
<defs>
{3}</defs>
<rect width="{0:.0f}" height="{1:.0f}" fill="#ffffff"/>
)",
             width_, height,
             xmlEscaped( map_.title.empty() ? "TCAM slices" : "TCAM slices of " + map_.title ),
             patterns() ) +
         body_ + "</svg>\n";
}

}  // namespace

std::string svgMap( const SliceMap & map, const PictureOptions & options ) {
  return Drawing( map, options ).take();
}

}  // namespace Map
