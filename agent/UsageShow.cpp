#include "agent/UsageShow.h"

#include <fmt/format.h>

#include <charconv>
#include <cstdio>
#include <functional>

#include "agent/Run.h"
#include "agent/text/TextTable.h"
#include "morvane/MorvaneTcamCapacitySm.h"

namespace Agent {

namespace {

// What a report writes to its descriptor.
std::string written( const std::function< void( U32 fd ) > & report ) {
  std::FILE * file = std::tmpfile();
  if ( file == nullptr )
    throw UsageError( "no temporary file can be made for the report" );
  report( static_cast< U32 >( fileno( file ) ) );
  std::rewind( file );
  std::string text;
  char piece[ 4096 ];
  while ( const size_t size = std::fread( piece, 1, sizeof piece, file ) )
    text.append( piece, size );
  std::fclose( file );
  return text;
}

// The rows of one poll.
class CapacityRows : public Morvane::TcamCapacityTable {
 public:
  void rowIs( const Morvane::TcamCapacityKey & key,
              const Morvane::TcamCapacityRow & row ) override {
    table_.add( { Morvane::tcamStageName( key.stage ).charPtr(), countText( row.used ),
                  countText( row.free ), countText( row.maxLimit ),
                  countText( row.highWatermark ) } );
  }
  void rowDel( const Morvane::TcamCapacityKey & ) override {}
  void alarmIs( const Morvane::TcamCapacityKey &, bool ) override {}
  std::string text() const { return "TCAM capacity\n" + table_.text(); }

 private:
  TextTable table_{ { "stage", ">used", ">free", ">maximum", ">high watermark" } };
};

std::string capacityText( Morvane::MorvaneTcamGroupManager & manager ) {
  CapacityRows rows;
  Kiv::make< Morvane::MorvaneTcamCapacitySm >(
      Kiv::Name( "capacity" ), Kiv::Ptr< const Morvane::MorvaneTcamGroupManager >( &manager ),
      &rows )
      ->poll();
  return rows.text();
}

U32 entryNumber( const std::string & text ) {
  const bool hex = text.starts_with( "0x" );
  const char * const first = text.data() + ( hex ? 2 : 0 );
  const char * const last = text.data() + text.size();
  U32 entry = 0;
  const auto [ end, error ] = std::from_chars( first, last, entry, hex ? 16 : 10 );
  if ( error != std::errc() || end != last )
    throw UsageError( fmt::format( "--show: no entry id: {}", text ) );
  return entry;
}

}  // namespace

UsageRequest usageRequest( const std::string & text ) {
  const std::pair< const char *, UsageView > views[] = { { "summary", UsageView::summary },
                                                         { "detail", UsageView::detail },
                                                         { "raw", UsageView::raw },
                                                         { "banks", UsageView::banks },
                                                         { "capacity", UsageView::capacity } };
  for ( const auto & [ name, view ] : views )
    if ( text == name )
      return { view, 0 };
  if ( text.starts_with( "entry:" ) )
    return { UsageView::entry, entryNumber( text.substr( 6 ) ) };
  throw UsageError( fmt::format(
      "--show: summary, detail, raw, banks, capacity or entry:ID is expected, not {}", text ) );
}

std::string usageText( Morvane::MorvaneTcamGroupManager & manager, const std::string & name,
                       U32 unit, const UsageRequest & request ) {
  if ( request.view == UsageView::none )
    return "";
  if ( request.view == UsageView::capacity )
    return capacityText( manager );
  const Kiv::String8 switchName{ std::string_view( name ) };
  return written( [ & ]( U32 fd ) {
    switch ( request.view ) {
      case UsageView::summary:
      case UsageView::detail:
        manager.showTcamUsage( switchName, fd, request.view == UsageView::detail, unit, -1 );
        break;
      case UsageView::raw:
        manager.showRawTcamUsage( switchName, fd, unit );
        break;
      case UsageView::banks:
        manager.showSummaryTcamUsage( switchName, fd, unit );
        break;
      case UsageView::entry:
        manager.showEntryTcamUsage( switchName, fd, unit, request.entry );
        break;
      case UsageView::capacity:
      case UsageView::none:
        break;
    }
  } );
}

}  // namespace Agent
