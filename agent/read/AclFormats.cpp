#include "agent/read/AclFormats.h"

#include <fmt/core.h>

#include "agent/read/ClassBenchReader.h"
#include "agent/read/ForeignFormats.h"
#include "agent/read/IptablesReader.h"
#include "agent/read/OpenConfigReader.h"
#include "agent/read/Rfc8519Reader.h"
#include "agent/read/RouterCliReader.h"
#include "agent/read/RulesFileReader.h"
#include "agent/read/SonicReader.h"

namespace Agent {

namespace {

constexpr AclFormat formats[] = {
    { "classbench", "ClassBench filter set", false, isClassBench, readClassBench },
    { "rules", "rules file", true, isRulesFile, readRulesFile },
    { "rfc8519", "RFC 8519 and MUD, JSON", true, isRfc8519, readRfc8519 },
    { "openconfig", "OpenConfig ACL, JSON", true, isOpenConfig, readOpenConfig },
    { "sonic", "SONiC: CONFIG_DB, acl-loader, array of operations", true, isSonic, readSonic },
    { "ip6tables", "ip6tables-save", false, isIp6tables, readIp6tables },
    { "iptables", "iptables-save", false, isIptables, readIptables },
    { "router", "router command line", false, isRouterCli, readRouterCli },
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
