#include "agent/read/AclFiles.h"

#include <fmt/core.h>

#include <algorithm>
#include <map>
#include <optional>

#include "agent/read/ForeignFormats.h"
#include "agent/read/WordReader.h"

namespace Agent {

namespace {

bool beginsJson( std::string_view text ) {
  const size_t first = text.find_first_not_of( " \t\r\n" );
  return first != text.npos && ( text[ first ] == '{' || text[ first ] == '[' );
}

// Of any format.
bool onlyComments( std::string_view text ) {
  TextLines lines( text );
  while ( lines.next() ) {
    const std::string_view line = lines.line();
    const size_t first = line.find_first_not_of( " \t\r" );
    if ( first != line.npos && line[ first ] != '#' && line[ first ] != '!' &&
         !line.substr( first ).starts_with( "//" ) )
      return false;
  }
  return true;
}

// Tools store a document under the path that it is sent to. Blanks in its place keep the lines.
void blankPath( std::string & text ) {
  const size_t end = std::min( text.find( '\n' ), text.size() );
  const bool path = text.starts_with( '/' ) || text.starts_with( "openconfig-" );
  if ( path && beginsJson( std::string_view( text ).substr( end ) ) )
    std::fill_n( text.begin(), end, ' ' );
}

// Lists of different kinds may have one name.
void separateNames( std::vector< Acl > & lists ) {
  std::map< std::string, size_t > uses;
  for ( const Acl & acl : lists )
    ++uses[ acl.name ];
  for ( Acl & acl : lists )
    if ( uses[ acl.name ] > 1 ) {
      acl.whole = acl.name;
      acl.name += fmt::format( "-{}", kindName( acl.kind ) );
    }
}

void nameLists( const AclName & name, AclDocument & document ) {
  separateNames( document.lists );
  for ( Acl & acl : document.lists )
    if ( acl.name.empty() || ( name.given && document.lists.size() == 1 ) )
      acl.name = name.text;
    else if ( name.given ) {
      acl.name = fmt::format( "{}-{}", name.text, acl.name );
      if ( !acl.whole.empty() )
        acl.whole = fmt::format( "{}-{}", name.text, acl.whole );
    }
}

// Containers of rules.
constexpr std::string_view rowKeys[] = { "ace", "acl-entry", "rules", "ACL_RULE" };

}  // namespace

void RuleBound::fail( const std::string & file, const std::string & list,
                      Platform::Place place ) const {
  throw Platform::FileError(
      file, place,
      fmt::format( "{}: more than {} rules: no share of platform {} holds more; \"morvane-tcam "
                   "count\" counts them",
                   list, rules, platform ) );
}

AclDocument parseAclText( const AclName & name, const std::string & file, std::string text,
                          const AclFormat * format, const ReaderOptions & options ) {
  AclSource source;
  source.name = name.text;
  source.file = file;
  source.options = options;
  if ( isCapture( text ) )
    throw Platform::InputError( file, {}, "a packet capture; give it with --packets" );
  text.erase( 0, text.size() - Platform::textBody( file, text ).size() );
  source.text = std::move( text );
  const bool blank = source.text.find_first_not_of( " \t\r\n" ) == std::string::npos;
  if ( onlyComments( source.text ) ) {
    if ( options.mayBeEmpty )
      return { {}, Refusals( file ), {}, options.bound, {} };
    throw Platform::InputError( file, { 1, 1 },
                                blank ? "the file is empty" : "there are no rules, only comments" );
  }
  blankPath( source.text );
  std::optional< Platform::JsonNode > root;
  if ( format == nullptr ? beginsJson( source.text ) : format->json )
    source.root = &root.emplace( Platform::parseJson( file, source.text, rowKeys ) );
  AclDocument document{
      {}, Refusals( file, options.refusalsMax ), {}, options.bound, ReadProgress( source ) };
  const AclFormat & reader = format == nullptr ? formatOf( source ) : *format;
  document.refusals.untilStopped( [ & ] { reader.read( source, document ); } );
  if ( document.lists.empty() && document.refusals.count() == 0 )
    throw Platform::InputError( file, {}, "there are no access lists" );
  nameLists( name, document );
  return document;
}

AclDocument readAclFile( const AclName & name, const std::string & file, const AclFormat * format,
                         const ReaderOptions & options ) {
  return parseAclText( name, file, Platform::readFile( file ), format, options );
}

}  // namespace Agent
