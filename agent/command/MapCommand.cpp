#include "agent/command/MapCommand.h"

#include <fmt/core.h>

#include <CLI/CLI.hpp>

#include "agent/command/Help.h"
#include "agent/feature/AclShares.h"
#include "agent/report/OutputFile.h"
#include "agent/report/map/SliceMap.h"
#include "agent/session/SwitchSession.h"

namespace Agent {

void addMapOptions( CLI::App & app, MapOptions & map ) {
  app.add_option( "--svg", map.svg, "Write an SVG file instead of text" )
      ->type_name( "FILE" )
      ->check( []( const std::string & file ) {
        return std::string( file.empty() ? "the name of a file is expected" : "" );
      } );
  app.add_flag( "--json", map.json, "Write one JSON object instead of text" );
  app.add_flag( "--all", map.all, "Draw identical pipes and copies separately" );
  app.add_option_function< std::string >(
         "--color",
         [ &map ]( const std::string & use ) {
           map.colour = use == "always"  ? ColourUse::always
                        : use == "never" ? ColourUse::never
                                         : ColourUse::automatic;
         },
         "Colours of the text; auto: on a terminal, unless NO_COLOR is set" )
      ->default_str( "auto" )
      ->check( oneOf( { "auto", "always", "never" } ) );
}

void nameLists( const RunInput & input, const RunReport & report, Map::SliceMap & slices ) {
  for ( U32 i = 0; i < input.acls.size(); ++i ) {
    if ( report.acls[ i ].shortage )
      continue;
    const std::string & share = shareOf( input.platform, classOf( input.acls[ i ] ) )->name;
    for ( Map::User & user : slices.users )
      if ( user.name == share )
        user.lists.push_back( input.acls[ i ].name );
  }
}

bool mapCommand( const RunOptions & options, const MapOptions & map ) {
  const RunInput input = readInput( options );
  Map::SliceMap slices;
  const RunReport report = withProgrammedSwitch( input, [ & ]( SwitchSession & session ) {
    slices = Map::sliceMap( session.groupManager(), session.chip(), SwitchSession::unit );
  } );
  nameLists( input, report, slices );
  slices.title = fmt::format( "{}: {}", input.platform.name, input.platform.description );
  const bool complete = input.remarks.refused == 0;
  const bool text = !map.json && map.svg.empty();  // its first line says what is missing
  if ( !complete && !text ) {
    const std::string partial = partialText( input.remarks );
    slices.notes.push_back( partial.substr( 0, partial.size() - 1 ) );
  }
  printRefusals( input.remarks );
  for ( std::string & line : unfitLists( report ) )
    slices.notes.push_back( std::move( line ) );
  const bool colours = map.colour == ColourUse::always ||
                       ( map.colour == ColourUse::automatic && Terminal::standardOutput().colours );
  const Map::PictureOptions picture = { map.all, colours };
  if ( !map.svg.empty() ) {
    writeFile( map.svg, Map::svgMap( slices, picture ) );
    for ( const std::string & line : slices.notes )
      printError( line );
  }
  if ( map.json )
    printOutput( Map::jsonMap( slices ) );
  else if ( map.svg.empty() )
    printOutput( partialText( input.remarks ) + Map::textMap( slices, picture ) );
  return complete && slices.notes.empty();
}

}  // namespace Agent
