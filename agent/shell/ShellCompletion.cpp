#include "agent/shell/ShellCompletion.h"

#include <algorithm>
#include <filesystem>

#include "agent/acl/MatchFields.h"
#include "agent/acl/Names.h"

namespace Agent {

namespace {

using Candidates = std::vector< std::string >;

void addFiles( const std::string & start, Candidates & words ) {
  const size_t slash = start.rfind( '/' );
  const std::string folder = slash == std::string::npos ? "" : start.substr( 0, slash + 1 );
  std::error_code error;
  const std::filesystem::directory_iterator files( folder.empty() ? "." : folder, error );
  if ( error )
    return;
  for ( const auto & file : files ) {
    const std::string name = file.path().filename().string();
    if ( name.starts_with( '.' ) && start.substr( folder.size() ).empty() )
      continue;
    words.push_back( folder + name + ( file.is_directory( error ) ? "/" : "" ) );
  }
}

void addNames( std::initializer_list< const char * > names, Candidates & words ) {
  words.insert( words.end(), names.begin(), names.end() );
}

void addProtocols( Candidates & words ) {
  for ( const std::string_view name : protocolNames() )
    words.emplace_back( name );
}

// Either form of a rule; the fields of a rules file are those of the list.
void addRuleWords( const LiveSwitch & live, const std::string & list, const std::string & start,
                   Candidates & words ) {
  const std::vector< Acl > & acls = live.input().acls;
  const auto acl = std::find_if( acls.begin(), acls.end(),
                                 [ & ]( const Acl & each ) { return each.name == list; } );
  if ( !start.starts_with( '"' ) ) {
    addNames( { "before", "permit", "deny", "ip", "ipv6", "any", "host", "eq", "neq", "lt", "gt",
                "range", "established", "fragments", "dscp", "ttl" },
              words );
    addProtocols( words );
  }
  for ( const MatchField & field : matchFields() )
    if ( acl != acls.end() && field.isIn( acl->kind ) && start.starts_with( '"' ) )
      words.push_back( std::string( "\"" ) + field.name + "\":" );
  if ( start.starts_with( '"' ) )
    addNames( { "\"name\":", "\"actions\":", "\"police\":", "\"counters\":" }, words );
}

void addPacketWords( Candidates & words ) {
  addNames( { "in", "out", "flags", "fragment", "cut", "type", "code", "dscp", "ecn", "ttl", "vlan",
              "pcp", "inner", "smac", "dmac", "ethertype" },
            words );
  addProtocols( words );
}

Candidates candidates( const LiveSwitch & live, ShellWord kind, const Candidates & before,
                       const std::string & start ) {
  Candidates words;
  switch ( kind ) {
    case ShellWord::file:
      addFiles( start, words );
      break;
    case ShellWord::list:
      for ( const Acl & acl : live.input().acls )
        words.push_back( acl.name );
      break;
    case ShellWord::view:
      for ( const char * view : shellViews() )
        words.emplace_back( view );
      break;
    case ShellWord::counters:
      for ( const char * counters : shellCounters() )
        words.emplace_back( counters );
      break;
    case ShellWord::rule:
      addRuleWords( live, before.empty() ? "" : before.front(), start, words );
      break;
    case ShellWord::packet:
      if ( !before.empty() && before.back() == "--packets" )
        addFiles( start, words );
      else
        addPacketWords( words );
      if ( before.empty() )
        addNames( { "--packets", "--random" }, words );
      break;
    case ShellWord::verb:
      for ( const Shell::Verb & verb : Shell::verbs() )
        words.emplace_back( verb.name );
      break;
    case ShellWord::before:
      addNames( { "before", "bind" }, words );
      break;
    case ShellWord::none:
      break;
  }
  return words;
}

// The second words of commands whose first one is given, or all first ones.
Candidates verbWords( const Candidates & before ) {
  Candidates words;
  for ( const Shell::Verb & verb : Shell::verbs() ) {
    const std::string name = verb.name;
    const size_t blank = name.find( ' ' );
    if ( before.empty() )
      words.push_back( name.substr( 0, blank ) );
    else if ( blank != std::string::npos && name.substr( 0, blank ) == before.front() )
      words.push_back( name.substr( blank + 1 ) );
  }
  return words;
}

// The words before the one at the end of the line, which may be empty.
Candidates wordsBefore( std::string_view line, std::string & last ) {
  const bool fresh = line.empty() || line.back() == ' ' || line.back() == '\t';
  Candidates words;
  ShellWords typed( line, true );
  while ( auto word = typed.nextIfAny() )
    words.push_back( std::move( *word ) );
  last.clear();
  if ( !fresh && !words.empty() ) {
    words.pop_back();
    const size_t blank = line.find_last_of( " \t" );
    last = line.substr( blank == std::string_view::npos ? 0 : blank + 1 );
  }
  return words;
}

}  // namespace

Completions completions( const LiveSwitch & live, std::string_view line ) {
  std::string start;
  Candidates before = wordsBefore( line, start );
  Completions result;
  result.from = line.size() - start.size();
  ShellWords typed( line.substr( 0, result.from ), true );
  const Shell::Verb * const verb = Shell::verbOf( typed );
  Candidates words;
  if ( verb == nullptr || std::string( verb->name ) == "list" ) {
    if ( before.size() <= 1 )
      words = verbWords( before );
  } else {
    const std::string_view name = verb->name;
    before.erase( before.begin(), before.begin() + ( name.find( ' ' ) == name.npos ? 1 : 2 ) );
    const size_t place = std::min( before.size(), verb->words.size() - 1 );
    words = candidates( live, verb->words[ place ], before, start );
  }
  std::erase_if( words, [ & ]( const std::string & word ) { return !word.starts_with( start ); } );
  std::sort( words.begin(), words.end() );
  words.erase( std::unique( words.begin(), words.end() ), words.end() );
  result.words = std::move( words );
  return result;
}

std::string commonStart( const std::vector< std::string > & words ) {
  std::string start = words.empty() ? "" : words.front();
  for ( const std::string & word : words )
    start.erase( static_cast< size_t >(
        std::mismatch( start.begin(), start.end(), word.begin(), word.end() ).first -
        start.begin() ) );
  return start;
}

}  // namespace Agent
