#include "agent/command/Help.h"

#include <fmt/format.h>

#include <algorithm>

#include "agent/acl/PoliceRate.h"
#include "agent/text/Suggestion.h"
#include "morvane/Version.h"

namespace Agent {

namespace {

struct CommandHelp {
  std::string_view command;
  const char * examples;
};

constexpr CommandHelp commandHelp[] = {
    { "run",
      "  morvane-tcam run --platform small --acl edge.acl --random 10000 --verify\n"
      "  morvane-tcam run --acl edge=rules.json --packets web.pcapng --police edge/4:10M --json\n"
      "  morvane-tcam run --acl edge.acl --bind edge=Ethernet4-7:out --show detail --filter "
      "drop\n" },
    { "inspect",
      "  morvane-tcam inspect --acl edge.acl 'groupManager/entryManager[ipAclTcamGroup]'\n"
      "  morvane-tcam inspect --platform small --json groupManager/numPipe\n" },
    { "map",
      "  morvane-tcam map --platform small --acl edge.acl\n"
      "  morvane-tcam map --acl edge.acl --svg picture.svg\n" },
    { "count", "  morvane-tcam count --acl long.acl --platform shared --json\n" },
    { "cost",
      "  morvane-tcam cost edge.acl --platform small --all\n"
      "  morvane-tcam cost edge=rules.json --ports best --json\n" },
    { "fit",
      "  morvane-tcam fit edge.acl web.json --platform small --platform shared\n"
      "  morvane-tcam fit edge.acl --platform small --what-if range-checkers=0\n" },
    { "check",
      "  morvane-tcam check edge.acl\n"
      "  morvane-tcam check edge.acl web.json --overlaps --json\n" },
    { "diff",
      "  morvane-tcam diff old.acl new.acl\n"
      "  morvane-tcam diff edge=old.acl edge=new.json --apply --platform small\n" },
    { "compact", "  morvane-tcam compact edge.acl --output short.json\n" },
    { "explain",
      "  morvane-tcam explain --acl edge.acl --packet \"tcp 10.0.0.1:1024 > 192.0.2.9:443 flags "
      "syn\"\n"
      "  morvane-tcam explain --acl edge.acl --packets web.pcap --packet 17 --rule edge/4\n" },
    { "shell",
      "  morvane-tcam shell --platform small --acl edge.acl\n"
      "  morvane-tcam shell --script changes.txt --stop-on-error\n" },
    { "replay",
      "  morvane-tcam run --acl edge.acl --record calls.rec\n"
      "  morvane-tcam replay calls.rec --platform small --minimise fewest.rec\n"
      "  morvane-tcam replay calls.rec --sdk ./libmybinding.so\n" },
    { "platforms", "  morvane-tcam platforms\n" },
};

constexpr const char * statuses =
    "Exit status:\n"
    "  0  success\n"
    "  1  a list does not fit, refused rules were left out, or a difference or fault was found\n"
    "  2  usage error, invalid input or failed output\n";

std::string footerOf( const std::string & command ) {
  const auto * const found =
      std::find_if( std::begin( commandHelp ), std::end( commandHelp ),
                    [ & ]( const CommandHelp & help ) { return help.command == command; } );
  return found == std::end( commandHelp )
             ? statuses
             : fmt::format( "Examples:\n{}\n{}", found->examples, statuses );
}

std::vector< std::string > optionsOf( const CLI::App & app ) {
  std::vector< std::string > names;
  for ( const CLI::Option * option : app.get_options() )
    for ( const std::string & name : option->get_lnames() )
      names.push_back( "--" + name );
  return names;
}

std::vector< std::string > commandsOf( const CLI::App & app ) {
  std::vector< std::string > names;
  for ( const CLI::App * command : app.get_subcommands( {} ) )
    if ( !command->get_group().empty() )
      names.push_back( command->get_name() );
  return names;
}

}  // namespace

void addHelp( CLI::App & app ) {
  app.set_version_flag( "--version", "morvane-tcam " MORVANE_VERSION,
                        "Print the version and exit" );
  app.footer( fmt::format( "Examples:\n  morvane-tcam run --help\n{}\n{}",
                           commandHelp[ 0 ].examples, statuses ) );
  for ( CLI::App * command : app.get_subcommands( {} ) )
    command->footer( footerOf( command->get_name() ) );
}

std::string unknownArgument( const CLI::App & app, const std::vector< std::string > & arguments ) {
  const std::vector< CLI::App * > parsed = app.get_subcommands();
  const std::vector< std::string > left = app.remaining( true );
  const auto unknown =
      std::find_if( arguments.begin(), arguments.end(), [ & ]( const std::string & argument ) {
        return std::find( left.begin(), left.end(), argument ) != left.end();
      } );
  const std::string word = unknown == arguments.end() ? "" : *unknown;
  const std::string command = parsed.empty() ? "" : " " + parsed.front()->get_name();
  if ( word.starts_with( '-' ) ) {
    const std::string name = word.substr( 0, word.find( '=' ) );
    return fmt::format( "morvane-tcam{}: unknown option {}{}", command, name,
                        suggestion( name, optionsOf( parsed.empty() ? app : *parsed.front() ) ) );
  }
  if ( !parsed.empty() )
    return fmt::format( "morvane-tcam{}: unexpected argument {}", command, word );
  return fmt::format( "morvane-tcam: unknown command {}; there are {}{}", word,
                      fmt::join( commandsOf( app ), ", " ), suggestion( word, commandsOf( app ) ) );
}

CLI::Validator oneOf( const std::vector< std::string > & names ) {
  return { [ names ]( const std::string & name ) {
            return std::find( names.begin(), names.end(), name ) != names.end()
                       ? ""
                       : fmt::format( "{} is none of {}{}", name, fmt::join( names, ", " ),
                                      suggestion( name, names ) );
          },
           fmt::format( "{{{}}}", fmt::join( names, "," ) ) };
}

CLI::Validator wholeNumber() {
  return { []( const std::string & text ) {
            return numberFromText( text )
                       ? ""
                       : fmt::format( "a whole number is expected, not {}", text );
          },
           "" };
}

}  // namespace Agent
