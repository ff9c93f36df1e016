#include "agent/command/Completion.h"

#include <fmt/format.h>

#include <vector>

#include "agent/command/Help.h"
#include "platform/PlatformLoader.h"

namespace Agent {

namespace {

struct OptionWords {
  std::string name;  // with its dashes
  std::string what;
  bool takesValue = false;
  std::vector< std::string > values;  // empty: any
};

struct CommandWords {
  std::string name;  // empty: the words before a command
  std::string what;
  std::vector< OptionWords > options;
};

// The names of an option that accepts some only stand in its type, as `TEXT:{first,second}`.
std::vector< std::string > valuesOf( const CLI::Option & option ) {
  if ( option.check_lname( "platform" ) )
    return Platform::builtInPlatforms();
  const std::string type = option.get_type_name();
  const size_t open = type.find( '{' );
  const size_t close = type.find( '}' );
  if ( open == std::string::npos || close == std::string::npos )
    return {};
  return CLI::detail::split( type.substr( open + 1, close - open - 1 ), ',' );
}

CommandWords commandWords( const CLI::App & app, const std::string & name ) {
  CommandWords words{ name, app.get_description(), {} };
  for ( const CLI::Option * option : app.get_options() )
    for ( const std::string & longName : option->get_lnames() )
      words.options.push_back( { "--" + longName, option->get_description(),
                                 option->get_type_size() != 0, valuesOf( *option ) } );
  return words;
}

// The words before a command first.
std::vector< CommandWords > allWords( const CLI::App & app ) {
  std::vector< CommandWords > all{ commandWords( app, "" ) };
  for ( const CLI::App * command : app.get_subcommands( {} ) )
    if ( !command->get_group().empty() )
      all.push_back( commandWords( *command, command->get_name() ) );
  return all;
}

std::string commandNames( const std::vector< CommandWords > & all ) {
  std::string names;
  for ( const CommandWords & command : all )
    if ( !command.name.empty() )
      names += ( names.empty() ? "" : " " ) + command.name;
  return names;
}

// The first clause of a text, in single quotes.
std::string quoted( const std::string & text ) {
  std::string result = "'";
  for ( const char c : text.substr( 0, text.find( ';' ) ) )
    result += c == '\'' ? std::string( "'\\''" ) : std::string( 1, c );
  return result + "'";
}

std::string bashScript( const std::vector< CommandWords > & all ) {
  std::string words;
  std::string values;
  for ( const CommandWords & command : all ) {
    words += fmt::format( "    '{}') words='", command.name );
    for ( const OptionWords & option : command.options ) {
      words += option.name + " ";
      if ( option.takesValue )
        values +=
            fmt::format( "    '{} {}') COMPREPLY=( $(compgen -W '{}' -- \"$cur\") ); return ;;\n",
                         command.name, option.name, fmt::join( option.values, " " ) );
    }
    words += "' ;;\n";
  }
  return fmt::format(
      "_morvane_tcam() {{\n"
      "  local cur=${{COMP_WORDS[COMP_CWORD]}} prev=${{COMP_WORDS[COMP_CWORD-1]}} verb='' word "
      "words=''\n"
      "  COMPREPLY=()\n"
      "  for word in \"${{COMP_WORDS[@]:1:COMP_CWORD-1}}\"; do\n"
      "    [[ ' {0} ' != *\" $word \"* ]] || {{ verb=$word; break; }}\n"
      "  done\n"
      "  case \"$verb $prev\" in\n{1}  esac\n"
      "  case $verb in\n{2}  esac\n"
      "  if [[ -z $verb && $cur != -* ]]; then words='{0}'; fi\n"
      "  if [[ -z $verb || $cur == -* ]]; then COMPREPLY=( $(compgen -W \"$words\" -- \"$cur\") ); "
      "fi\n"
      "}}\n"
      "complete -o default -F _morvane_tcam morvane-tcam\n",
      commandNames( all ), values, words );
}

// Brackets and colons end a description.
std::string zshOption( const OptionWords & option ) {
  std::string what;
  for ( const char c : option.what.substr( 0, option.what.find( ';' ) ) )
    what += c == '[' || c == ']' || c == ':' ? std::string( "\\" ) + c : std::string( 1, c );
  std::string value;
  if ( option.takesValue && option.values.empty() )
    value = ":value:_files";
  else if ( option.takesValue )
    value = fmt::format( ":value:({})", fmt::join( option.values, " " ) );
  return quoted( fmt::format( "*{}[{}]{}", option.name, what, value ) );
}

std::string zshScript( const std::vector< CommandWords > & all ) {
  std::string cases;
  std::string commands;
  for ( const CommandWords & command : all ) {
    std::string options;
    for ( const OptionWords & option : command.options )
      options += " \\\n        " + zshOption( option );
    if ( command.name.empty() ) {
      cases += fmt::format( "    '') _arguments{} ;;\n", options );
      continue;
    }
    cases += fmt::format( "    {}) _arguments{} '*:file:_files' ;;\n", command.name, options );
    commands += fmt::format( "    {}\n", quoted( command.name + ":" + command.what ) );
  }
  return fmt::format(
      "#compdef morvane-tcam\n"
      "_morvane_tcam() {{\n"
      "  local -a commands=(\n{}  )\n"
      "  local verb=''\n"
      "  if (( CURRENT > 2 )); then\n"
      "    verb=$words[2]\n"
      "    shift words\n"
      "    (( CURRENT -= 1 ))\n"
      "  elif [[ $words[CURRENT] != -* ]]; then\n"
      "    _describe command commands\n"
      "    return\n"
      "  fi\n"
      "  case $verb in\n{}  esac\n"
      "}}\n"
      "_morvane_tcam \"$@\"\n",
      commands, cases );
}

std::string fishScript( const std::vector< CommandWords > & all ) {
  const std::string none =
      fmt::format( "'not __fish_seen_subcommand_from {}'", commandNames( all ) );
  std::string script;
  for ( const CommandWords & command : all ) {
    const std::string when = command.name.empty()
                                 ? none
                                 : fmt::format( "'__fish_seen_subcommand_from {}'", command.name );
    if ( !command.name.empty() )
      script += fmt::format( "complete -c morvane-tcam -n {} -f -a {} -d {}\n", none, command.name,
                             quoted( command.what ) );
    for ( const OptionWords & option : command.options ) {
      std::string value;
      if ( !option.values.empty() )
        value = fmt::format( " -x -a '{}'", fmt::join( option.values, " " ) );
      else if ( option.takesValue )
        value = " -r";
      script += fmt::format( "complete -c morvane-tcam -n {} -l {} -d {}{}\n", when,
                             option.name.substr( 2 ), quoted( option.what ), value );
    }
  }
  return script;
}

}  // namespace

CLI::App & addCompletion( CLI::App & app, std::string & shell ) {
  CLI::App & command =
      *app.add_subcommand( "completion", "Write the completion script for a shell" );
  command.group( "" );
  command.add_option( "SHELL", shell, "" )->required()->check( oneOf( { "bash", "zsh", "fish" } ) );
  return command;
}

std::string completionScript( const CLI::App & app, const std::string & shell ) {
  const std::vector< CommandWords > all = allWords( app );
  if ( shell == "bash" )
    return bashScript( all );
  return shell == "zsh" ? zshScript( all ) : fishScript( all );
}

}  // namespace Agent
