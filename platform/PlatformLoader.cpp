#include "platform/PlatformLoader.h"

#include <filesystem>

#include "platform/BuiltInText.h"
#include "platform/ChipReader.h"
#include "platform/InputError.h"
#include "platform/JsonFields.h"
#include "platform/TableReader.h"

namespace Platform {

namespace {

[[noreturn]] void report( const std::string & file, const JsonNode & root, JsonFields & fields,
                          const PlatformFault & fault ) {
  Place place = root.place();
  if ( fault.group )
    place = fields.list( "groups" )[ *fault.group ].place();
  else if ( fault.reservation )
    place = fields.list( "reservations" )[ *fault.reservation ].place();
  else if ( fault.vlan )
    place = fields.list( "vlans" )[ *fault.vlan ].place();
  else
    place = fields.place( "chip" );
  throw InputError( file, place, fault.what );
}

}  // namespace

PlatformData parsePlatform( const std::string & file, const std::string & text ) {
  const JsonNode root = parseJson( file, text );
  JsonFields fields( file, root, "a platform" );
  PlatformData data;
  data.name = fields.text( "name" );
  data.description = fields.text( "description", "" );
  readChip( file, fields, data );
  if ( fields.find( "portNames" ) != nullptr )
    data.portNames = readPortNames( fields, "portNames", data.chip.ports() );
  for ( const JsonNode & node : fields.list( "groups" ) )
    data.groups.push_back( readGroup( file, node ) );
  for ( const JsonNode & node : fields.list( "reservations" ) )
    data.reservations.push_back( readReservation( file, node ) );
  if ( fields.find( "vlans" ) != nullptr )
    for ( const JsonNode & node : fields.list( "vlans" ) )
      data.vlans.push_back( readVlan( file, node ) );
  fields.finish();
  if ( const auto fault = checkPlatform( data ) )
    report( file, root, fields, *fault );
  return data;
}

PlatformData loadPlatform( const std::string & nameOrFile ) {
  for ( const BuiltInText & builtIn : builtInPlatformTexts )
    if ( nameOrFile == builtIn.name )
      return parsePlatform( builtIn.name, builtIn.text );
  // A word without a dot or a slash is meant as a name.
  std::error_code ignored;
  if ( nameOrFile.find_first_of( "./" ) == std::string::npos &&
       !std::filesystem::exists( nameOrFile, ignored ) ) {
    std::string names;
    for ( const std::string & name : builtInPlatforms() )
      names += ( names.empty() ? "" : ", " ) + name;
    throw InputError( nameOrFile, 0, "neither a file nor a built-in platform; these are " + names );
  }
  return parsePlatform( nameOrFile, readFile( nameOrFile ) );
}

std::vector< std::string > builtInPlatforms() {
  std::vector< std::string > names;
  for ( const BuiltInText & builtIn : builtInPlatformTexts )
    names.emplace_back( builtIn.name );
  return names;
}

}  // namespace Platform
