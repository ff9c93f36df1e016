// Fuzzes the reader of one format of access lists, of which each program has its own. Any text must
// either be read, or be refused with messages of one line each; a rule that was read must match
// only fields that lists of its kind have.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "agent/acl/RuleText.h"
#include "agent/read/AclFiles.h"

extern const char * const aclFormat;

namespace {

void require( bool holds, const char * what ) {
  if ( !holds ) {
    std::fprintf( stderr, "%s\n", what );
    std::abort();
  }
}

void check( const Agent::Acl & acl ) {
  for ( const Agent::AclRule & rule : acl.rules ) {
    require( rule.line != 0, "a rule has no place" );
    require( !Agent::ruleText( acl.kind, rule ).empty(), "a rule has no text" );
    for ( const Agent::MatchField & field : Agent::matchFields() )
      require( field.isIn( acl.kind ) || !Agent::restricts( field, rule ),
               "a rule matches a field that its list does not have" );
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t * data, std::size_t size ) {
  const std::string text( reinterpret_cast< const char * >( data ), size );
  try {
    const Agent::AclDocument document =
        Agent::parseAclText( { "n", false }, "f", text, Agent::formatNamed( aclFormat ) );
    for ( const Agent::Acl & acl : document.lists )
      check( acl );
    for ( const std::string & line : document.refusals.lines() )
      require( line.starts_with( "f:" ) && line.find( '\n' ) == line.npos,
               "a refusal is not one line with its place" );
  } catch ( const Platform::InputError & error ) {
    require( std::string( error.what() ).find( '\n' ) == std::string::npos,
             "an error is not one line" );
  }
  return 0;
}
