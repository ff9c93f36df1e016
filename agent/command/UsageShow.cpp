#include "agent/command/UsageShow.h"

#include <fmt/format.h>

#include <cstdio>
#include <functional>
#include <set>

#include "agent/command/TcamNames.h"
#include "agent/command/UsageError.h"

namespace Agent {

namespace {

// Captures what a report writes to its file descriptor.
std::string captured( const std::function< void( U32 fd ) > & report ) {
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

struct View {
  const char * name;  // ends in a colon if an id follows
  UsageView view;
};
constexpr View views[] = { { "summary", UsageView::summary },
                           { "detail", UsageView::detail },
                           { "raw", UsageView::raw },
                           { "banks", UsageView::banks },
                           { "capacity", UsageView::capacity },
                           { "entry:", UsageView::entry },
                           { "group-dump:", UsageView::groupDump },
                           { "entry-dump:", UsageView::entryDump } };

bool isAboutEntry( UsageView view ) {
  return view == UsageView::entry || view == UsageView::entryDump;
}

// Both pipes of the outer-VLAN workaround share one hardware group.
std::string groupDumpText( const Morvane::MorvaneTcamGroupManager & manager, U32 unit, U32 group ) {
  std::string text = fmt::format( "TCAM group {}\n", group );
  std::set< U32 > seen;
  for ( const Morvane::PipeCopy at : manager.pipeCopies( unit, group ) )
    if ( manager.groupCountsHas( at.pipeGroup ) && seen.insert( at.pipeGroup ).second )
      text += manager.groupDump( unit, at.pipeGroup ).view();
  return manager.groupExists( unit, group ) ? text : text + "not on the chip: it has no users\n";
}

std::string entryDumpText( const Morvane::MorvaneTcamGroupManager & manager, U32 unit, U32 id ) {
  std::string text = fmt::format( "TCAM entry {:#x} ({})\n", id, id );
  const U32 entry = Morvane::tcamNumberBits.get( id );
  const auto holder = managerOfEntry( manager, id );
  for ( const Morvane::PipeCopy at : manager.pipeCopies( unit, holder->group() ) )
    text += manager.entryDump( unit, at.entryId( entry ) ).view();
  return text;
}

}  // namespace

UsageRequest usageRequest( const std::string & text, const Platform::PlatformData & platform ) {
  for ( const auto & [ name, view ] : views ) {
    const std::string_view known( name );
    if ( !known.ends_with( ':' ) && text == known )
      return { view, 0 };
    if ( !known.ends_with( ':' ) || !text.starts_with( known ) )
      continue;
    const std::string id = text.substr( known.size() );
    return { view, isAboutEntry( view ) ? namedEntry( "--show", id, platform )
                                        : namedGroup( "--show", id, platform ) };
  }
  throw UsageError(
      fmt::format( "--show: summary, detail, raw, banks, capacity, entry:ID, "
                   "group-dump:ID or entry-dump:ID is expected, not {}",
                   text ) );
}

void requireEntry( const Morvane::MorvaneTcamGroupManager & manager, U32 unit,
                   const UsageRequest & request ) {
  if ( isAboutEntry( request.view ) &&
       ( !managerOfEntry( manager, request.id ) || manager.entryDump( unit, request.id ).empty() ) )
    throw UsageError(
        fmt::format( "--show: the chip has no entry {:#x} ({})", request.id, request.id ) );
}

std::string usageText( Morvane::MorvaneTcamGroupManager & manager, const std::string & name,
                       U32 unit, const UsageRequest & request ) {
  const Kiv::String8 switchName{ std::string_view( name ) };
  switch ( request.view ) {
    case UsageView::summary:
    case UsageView::detail:
      return captured( [ & ]( U32 fd ) {
        manager.showTcamUsage( switchName, fd, request.view == UsageView::detail, unit, -1 );
      } );
    case UsageView::raw:
      return captured( [ & ]( U32 fd ) { manager.showRawTcamUsage( switchName, fd, unit ); } );
    case UsageView::banks:
      return captured( [ & ]( U32 fd ) { manager.showSummaryTcamUsage( switchName, fd, unit ); } );
    case UsageView::entry:
      return captured(
          [ & ]( U32 fd ) { manager.showEntryTcamUsage( switchName, fd, unit, request.id ); } );
    case UsageView::groupDump:
      return groupDumpText( manager, unit, request.id );
    case UsageView::entryDump:
      return entryDumpText( manager, unit, request.id );
    case UsageView::capacity:
    case UsageView::none:
      break;
  }
  return "";
}

}  // namespace Agent
