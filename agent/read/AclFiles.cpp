#include "agent/read/AclFiles.h"

#include "agent/read/ClassBenchReader.h"
#include "agent/read/LineReader.h"
#include "agent/read/RulesFileReader.h"
#include "platform/InputError.h"

namespace Agent {

Acl readAcl( const std::string & name, const std::string & file, AclFormat format ) {
  const std::string text = Platform::readFile( file );
  const size_t first = text.find_first_not_of( " \t\r\n" );
  const char mark = first == std::string::npos ? '@' : text[ first ];
  if ( format == AclFormat::rules || ( format == AclFormat::detect && mark == '{' ) )
    return parseRulesFile( name, file, text );
  if ( format == AclFormat::detect && mark != '@' ) {
    const TextLine line = splitLines( text ).front();
    throw Platform::InputError( file, line.number, "the format of this file is not known" );
  }
  return parseClassBench( name, file, text );
}

}  // namespace Agent
