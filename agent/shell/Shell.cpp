#include "agent/shell/Shell.h"

#include <fmt/format.h>

#include <algorithm>

#include "agent/command/UsageError.h"
#include "agent/report/OutputFile.h"
#include "agent/shell/RuleInWords.h"
#include "agent/shell/ShellError.h"
#include "agent/text/Suggestion.h"
#include "platform/InputError.h"

namespace Agent {

using Words = ShellWord;

const Shell::Verb Shell::verbs_[] = {
    { "load",
      "[NAME=]FILE ...",
      "add the lists of files, in any format, after all others",
      { Words::file },
      &Shell::load },
    { "list add",
      "NAME FILE [before LIST] [bind PORTS[:in|out]]",
      "add the lists of a file under a name",
      { Words::none, Words::file, Words::before, Words::list },
      &Shell::listAdd },
    { "list remove", "LIST", "remove a list", { Words::list, Words::none }, &Shell::listRemove },
    { "list show",
      "LIST",
      "show the rules of a list, with their counters",
      { Words::list, Words::none },
      &Shell::listShow },
    { "list", "", "show the lists", { Words::none }, &Shell::lists },
    { "rule add",
      "LIST [before N] RULE",
      "add a rule at the end of a list or before its rule N: permit tcp any any eq 80, or { .. } "
      "as in a rules file",
      { Words::list, Words::rule },
      &Shell::ruleAdd },
    { "rule remove",
      "LIST N",
      "remove a rule by its number, from 1",
      { Words::list, Words::none },
      &Shell::ruleRemove },
    { "undo", "", "reverse the last change that is not undone yet", { Words::none }, &Shell::undo },
    { "send",
      "PACKET | --packets FILE | --random N [SEED]",
      "send a packet in words, a capture or trace, or random packets",
      { Words::packet },
      &Shell::send },
    { "explain",
      "PACKET",
      "send a packet and show what happens to it, and why",
      { Words::packet },
      &Shell::explain },
    { "show",
      "[VIEW]",
      "show a library report of TCAM use, as run --show: summary, detail, ..",
      { Words::view, Words::none },
      &Shell::show },
    { "map", "", "draw the TCAM occupancy map", { Words::none }, &Shell::map },
    { "cost",
      "",
      "show what the lists' rules take on an empty switch, and why",
      { Words::none },
      &Shell::cost },
    { "fit",
      "[CHANGE ...]",
      "say whether the lists fit an empty switch, and what binds; with changes as of fit "
      "--what-if: "
      "slices=-2, list:NAME*3, ..",
      { Words::none },
      &Shell::fit },
    { "inspect", "[PATH]", "show the library's state by name", { Words::none }, &Shell::inspect },
    { "counters clear",
      "[WHAT]",
      "clear packet and byte counters: all, unit, user:NAME, ..",
      { Words::counters, Words::none },
      &Shell::countersClear },
    { "verify",
      "",
      "compare the library's records with the chip",
      { Words::none },
      &Shell::verify },
    { "help",
      "[COMMAND]",
      "show the commands, or one of them",
      { Words::verb, Words::none },
      &Shell::help },
    { "quit", "", "end the shell; so does the end of the input", { Words::none }, &Shell::quit },
};

std::span< const Shell::Verb > Shell::verbs() {
  return verbs_;
}

const Shell::Verb * Shell::verbOf( ShellWords & words ) {
  for ( const Verb & verb : verbs() ) {
    ShellWords ahead = words;
    const std::string_view name = verb.name;
    const size_t blank = name.find( ' ' );
    if ( !ahead.take( name.substr( 0, blank ) ) )
      continue;
    if ( blank != std::string_view::npos && !ahead.take( name.substr( blank + 1 ) ) )
      continue;
    words = ahead;
    return &verb;
  }
  return nullptr;
}

namespace {

std::vector< std::string > verbNames() {
  std::vector< std::string > names;
  for ( const Shell::Verb & verb : Shell::verbs() )
    names.emplace_back( verb.name );
  return names;
}

[[noreturn]] void failVerb( ShellWords & words ) {
  std::string given = words.next( "a command" );
  for ( const Shell::Verb & verb : Shell::verbs() )
    if ( std::string_view( verb.name ).starts_with( given + " " ) )
      given += " " + words.nextIfAny().value_or( "" );
  throw ShellError( fmt::format( "there is no command {}{}; help shows all", given,
                                 suggestion( given, verbNames() ) ) );
}

// Options of the command line are words here.
std::string withoutDashes( const std::string & what ) {
  return what.starts_with( "--" ) ? what.substr( 2 ) : what;
}

std::string refusalText( const RefusedRules & refused ) {
  const size_t more = refused.lines().size() - 1;
  return refused.lines().front() + ( more == 0 ? "" : fmt::format( " (and {} more)", more ) );
}

}  // namespace

std::optional< std::string > Shell::run( const std::string & line ) {
  std::string fault;
  try {
    ShellWords words( line );
    if ( words.done() )
      return std::nullopt;
    const Verb * const verb = verbOf( words );
    if ( verb == nullptr )
      failVerb( words );
    ( this->*verb->run )( words );
    return std::nullopt;
  } catch ( const RefusedRules & refused ) {
    fault = refusalText( refused );
  } catch ( const Platform::InputError & error ) {
    fault = error.what();
  } catch ( const UsageError & error ) {
    fault = withoutDashes( error.what() );
  } catch ( const ShellError & error ) {
    fault = error.what();
  } catch ( const OutputError & error ) {
    fault = error.what();
  }
  std::replace( fault.begin(), fault.end(), '\n', ' ' );
  return fault;
}

// --- Changes ---------------------------------------------------------------------------------

void Shell::load( ShellWords & words ) {
  std::vector< std::string > files = { words.next( "a file" ) };
  while ( auto file = words.nextIfAny() )
    files.push_back( std::move( *file ) );
  printOutput( live_.addLists( files, {}, "" ) );
}

void Shell::listAdd( ShellWords & words ) {
  const std::string name = words.next( "the name of the list" );
  const std::string file = words.next( "its file" );
  std::optional< std::string > before;
  std::string bind;
  if ( words.take( "before" ) )
    before = words.next( "a list" );
  if ( words.take( "bind" ) )
    bind = words.next( "PORTS" );
  words.finish();
  if ( name.empty() || name.find( '=' ) != std::string::npos )
    throw ShellError( fmt::format( "\"{}\" is no name for a list", name ) );
  printOutput( live_.addLists( { name + "=" + file }, before, bind ) );
}

void Shell::listRemove( ShellWords & words ) {
  const std::string name = words.next( "a list" );
  words.finish();
  printOutput( live_.removeList( name ) );
}

void Shell::ruleAdd( ShellWords & words ) {
  const U32 acl = live_.listNamed( words.next( "a list" ) );
  const Acl & list = live_.input().acls[ acl ];
  const auto rules = static_cast< U32 >( list.rules.size() );
  const U32 index = words.take( "before" ) ? words.number( "rule", rules ) - 1 : rules;
  const AclRule rule = ruleInWords( live_.input().platform, list, words.rest( "the rule" ) );
  printOutput( live_.addRule( acl, index, rule ) );
}

void Shell::ruleRemove( ShellWords & words ) {
  const U32 acl = live_.listNamed( words.next( "a list" ) );
  const U32 number = words.number( "rule", live_.input().acls[ acl ].rules.size() );
  words.finish();
  printOutput( live_.removeRule( acl, number - 1 ) );
}

void Shell::undo( ShellWords & words ) {
  words.finish();
  printOutput( live_.undo() );
}

// --- Help ------------------------------------------------------------------------------------

void Shell::help( ShellWords & words ) {
  std::string text;
  if ( words.done() ) {
    for ( const Verb & verb : verbs() )
      text += fmt::format( "  {:<15} {}\n", verb.name, verb.what );
    text += "  \"help COMMAND\" shows what a command takes\n";
  }
  const std::string given( words.left() );
  for ( const Verb & verb : verbs() )
    if ( !given.empty() &&
         ( verb.name == given || std::string_view( verb.name ).starts_with( given + " " ) ) )
      text += fmt::format( "{}{}{}\n  {}\n", verb.name, *verb.arguments == 0 ? "" : " ",
                           verb.arguments, verb.what );
  if ( text.empty() )
    failVerb( words );
  printOutput( text );
}

void Shell::quit( ShellWords & words ) {
  words.finish();
  ended_ = true;
}

}  // namespace Agent
