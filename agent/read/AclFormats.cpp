#include "agent/read/AclFormats.h"

#include <fmt/core.h>

#include <algorithm>

#include "agent/read/ClassBenchReader.h"
#include "agent/read/ForeignFormats.h"
#include "agent/read/RulesFileReader.h"

namespace Agent {

namespace {

char firstOf( const AclSource & source ) {
  return source.text[ source.text.find_first_not_of( " \t\r\n" ) ];
}

bool isClassBench( const AclSource & source ) {
  return firstOf( source ) == '@';
}

void readClassBench( const AclSource & source, AclDocument & document ) {
  document.lists.push_back( parseClassBench( source.name, source.file, source.text ) );
}

bool isRulesFile( const AclSource & source ) {
  const auto & members = source.root->members;
  return std::any_of( members.begin(), members.end(),
                      []( const auto & member ) { return member.name == "rules"; } );
}

void readRulesFile( const AclSource & source, AclDocument & document ) {
  document.lists.push_back( parseRulesFile( source.name, source.file, *source.root ) );
}

constexpr AclFormat formats[] = {
    { "classbench", "ClassBench filter set", false, isClassBench, readClassBench },
    { "rules", "rules file", true, isRulesFile, readRulesFile },
};

}  // namespace

std::span< const AclFormat > aclFormats() {
  return formats;
}

const AclFormat * formatNamed( const std::string & name ) {
  for ( const AclFormat & format : formats )
    if ( name == format.name )
      return &format;
  return nullptr;
}

std::string formatList() {
  std::string list;
  for ( const AclFormat & format : formats )
    list += fmt::format( "{}{} ({})", list.empty() ? "" : ", ", format.name, format.title );
  return list;
}

const AclFormat & formatOf( const AclSource & source ) {
  const char * foreign = foreignFormat( source );
  if ( foreign != nullptr )
    throw Platform::InputError(
        source.file, {}, fmt::format( "this is {}; the formats are {}", foreign, formatList() ) );
  for ( const AclFormat & format : formats )
    if ( format.json == ( source.root != nullptr ) && format.holds( source ) )
      return format;
  throw Platform::InputError(
      source.file, {},
      fmt::format( "the format of this file is not known; the formats are {}", formatList() ) );
}

}  // namespace Agent
