#include "cli/Completion.h"

#include <fmt/format.h>

#include <algorithm>

namespace Cli {

namespace {

struct OptionWords {
  std::string name;  // with its dashes
  std::string what;
  bool takesValue = false;
  std::vector< std::string > values;  // empty: any
  bool takesFile = false;             // besides the values
};

struct CommandWords {
  std::string name;  // empty: the words before a command
  std::string what;
  std::vector< OptionWords > options;
  std::vector< std::string > operands;  // empty: files
};

// What a script is written from: the words before a command first.
struct Words {
  std::string program;
  std::string function;  // the program as part of a function's name
  std::vector< CommandWords > all;
};

// The names of an option that accepts some only stand in its type, as `TEXT:{first,second}`.
std::vector< std::string > valuesOf( const CLI::Option & option, const OptionValues & known ) {
  for ( const auto & [ name, values ] : known )
    if ( option.check_lname( name ) )
      return values;
  const std::string type = option.get_type_name();
  const size_t open = type.find( '{' );
  const size_t close = type.find( '}' );
  if ( open == std::string::npos || close == std::string::npos )
    return {};
  return CLI::detail::split( type.substr( open + 1, close - open - 1 ), ',' );
}

CommandWords commandWords( const CLI::App & app, const std::string & name,
                           const OptionValues & known ) {
  CommandWords words{ name, app.get_description(), {}, {} };
  for ( const CLI::Option * option : app.get_options() ) {
    for ( const std::string & longName : option->get_lnames() )
      words.options.push_back( { "--" + longName, option->get_description(),
                                 option->get_expected_max() != 0, valuesOf( *option, known ),
                                 known.contains( longName ) } );
    if ( option->get_positional() )
      words.operands = valuesOf( *option, known );
  }
  return words;
}

Words allWords( const CLI::App & app, const OptionValues & known ) {
  Words words{ app.get_name(), app.get_name(), { commandWords( app, "", known ) } };
  std::replace( words.function.begin(), words.function.end(), '-', '_' );
  for ( const CLI::App * command : app.get_subcommands( {} ) )
    if ( !command->get_group().empty() ) {
      words.all.push_back( commandWords( *command, command->get_name(), known ) );
      words.all.front().operands.push_back( command->get_name() );
    }
  return words;
}

std::string commandNames( const Words & words ) {
  return words.all.size() == 1 ? ""
                               : fmt::format( "{}", fmt::join( words.all.front().operands, " " ) );
}

std::string firstClause( const std::string & text ) {
  return text.substr( 0, text.find( ';' ) );
}

std::string quoted( const std::string & text ) {
  std::string result = "'";
  for ( const char c : text )
    result += c == '\'' ? std::string( "'\\''" ) : std::string( 1, c );
  return result + "'";
}

std::string bashScript( const Words & words ) {
  std::string cases;
  std::string values;
  for ( const CommandWords & command : words.all ) {
    cases += fmt::format( "    '{}') operands='{}' words='", command.name,
                          fmt::join( command.operands, " " ) );
    for ( const OptionWords & option : command.options ) {
      cases += option.name + " ";
      if ( option.takesValue )
        values +=
            fmt::format( "    '{} {}') COMPREPLY=( $(compgen -W '{}' -- \"$cur\") ); return ;;\n",
                         command.name, option.name, fmt::join( option.values, " " ) );
    }
    cases += "' ;;\n";
  }
  return fmt::format(
      "_{4}() {{\n"
      "  local cur=${{COMP_WORDS[COMP_CWORD]}} prev=${{COMP_WORDS[COMP_CWORD-1]}} verb='' word\n"
      "  local operands words\n"
      "  COMPREPLY=()\n"
      // --option=value is three words for bash.
      "  [[ $cur != = ]] || cur=''\n"
      "  [[ $prev != = ]] || prev=${{COMP_WORDS[COMP_CWORD-2]}}\n"
      "  for word in \"${{COMP_WORDS[@]:1:COMP_CWORD-1}}\"; do\n"
      "    [[ ' {0} ' != *\" $word \"* ]] || {{ verb=$word; break; }}\n"
      "  done\n"
      "  case \"$verb $prev\" in\n{1}  esac\n"
      "  case $verb in\n{2}  esac\n"
      "  [[ $cur == -* ]] || words=$operands\n"
      "  COMPREPLY=( $(compgen -W \"$words\" -- \"$cur\") )\n"
      "}}\n"
      "complete -o default -F _{4} {3}\n",
      commandNames( words ), values, cases, words.program, words.function );
}

// Brackets and colons end a description.
std::string zshOption( const OptionWords & option ) {
  std::string what;
  for ( const char c : firstClause( option.what ) )
    what += c == '[' || c == ']' || c == ':' ? std::string( "\\" ) + c : std::string( 1, c );
  std::string value;
  if ( option.takesValue && option.values.empty() )
    value = ":value:_files";
  else if ( option.takesValue ) {
    const std::string values = fmt::format( "{}", fmt::join( option.values, " " ) );
    value = option.takesFile ? ":value:{ compadd -- " + values + "; _files }"
                             : ":value:(" + values + ")";
  }
  return quoted(
      fmt::format( "*{}{}[{}]{}", option.name, option.takesValue ? "=" : "", what, value ) );
}

std::string zshArguments( const CommandWords & command ) {
  std::string text = "_arguments";
  for ( const OptionWords & option : command.options )
    text += " \\\n        " + zshOption( option );
  return text + ( command.operands.empty()
                      ? " '*:file:_files'"
                      : fmt::format( " '*:name:({})'", fmt::join( command.operands, " " ) ) );
}

// Of a program with commands: they are offered with what they do.
std::string zshCommands( const Words & words ) {
  std::string cases;
  std::string commands;
  for ( const CommandWords & command : words.all ) {
    cases += fmt::format( "    '{}') {} ;;\n", command.name, zshArguments( command ) );
    if ( !command.name.empty() )
      commands += fmt::format( "    {}\n", quoted( command.name + ":" + command.what ) );
  }
  return fmt::format(
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
      "  case $verb in\n{}  esac\n",
      commands, cases );
}

std::string zshScript( const Words & words ) {
  return fmt::format( "#compdef {0}\n_{1}() {{\n{2}}}\n_{1} \"$@\"\n", words.program,
                      words.function,
                      words.all.size() == 1 ? "  " + zshArguments( words.all.front() ) + "\n"
                                            : zshCommands( words ) );
}

std::string fishCommand( const Words & words, const CommandWords & command ) {
  const std::string begin = fmt::format( "complete -c {} -n '__{}_verb_is \"{}\"'", words.program,
                                         words.function, command.name );
  std::string script;
  for ( const OptionWords & option : command.options ) {
    std::string value;
    if ( !option.values.empty() )
      value = fmt::format( " {} -a '{}'", option.takesFile ? "-r" : "-x",
                           fmt::join( option.values, " " ) );
    else if ( option.takesValue )
      value = " -r";
    script += fmt::format( "{} -l {} -d {}{}\n", begin, option.name.substr( 2 ),
                           quoted( firstClause( option.what ) ), value );
  }
  if ( words.all.size() == 1 && !command.operands.empty() )
    script += fmt::format( "{} -f -a '{}'\n", begin, fmt::join( command.operands, " " ) );
  return script;
}

std::string fishScript( const Words & words ) {
  std::string script = fmt::format(
      "function __{0}_verb_is\n"
      "  set -l verb ''\n"
      "  for word in (commandline -opc)[2..-1]\n"
      "    if contains -- $word {1}\n"
      "      set verb $word\n"
      "      break\n"
      "    end\n"
      "  end\n"
      "  test \"$verb\" = \"$argv[1]\"\n"
      "end\n",
      words.function, commandNames( words ) );
  for ( const CommandWords & command : words.all ) {
    if ( !command.name.empty() )
      script += fmt::format( "complete -c {} -n '__{}_verb_is \"\"' -f -a {} -d {}\n",
                             words.program, words.function, command.name, quoted( command.what ) );
    script += fishCommand( words, command );
  }
  return script;
}

}  // namespace

CLI::App & addCompletion( CLI::App & app, std::string & shell ) {
  CLI::App & command =
      *app.add_subcommand( "completion", "Write the completion script for a shell" );
  command.group( "" );
  command.add_option( "SHELL", shell, "" )
      ->required()
      ->check( CLI::IsMember( { "bash", "zsh", "fish" } ) );
  return command;
}

std::string completionScript( const CLI::App & app, const std::string & shell,
                              const OptionValues & known ) {
  const Words words = allWords( app, known );
  if ( shell == "bash" )
    return bashScript( words );
  return shell == "zsh" ? zshScript( words ) : fishScript( words );
}

}  // namespace Cli
