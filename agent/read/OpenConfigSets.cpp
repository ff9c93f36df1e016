#include "agent/read/OpenConfigSets.h"

#include <fmt/core.h>

#include <array>

namespace Agent {

namespace {

using Platform::JsonFields;
using Platform::JsonNode;

constexpr std::array< std::string_view, 4 > modules = { "openconfig-acl", "openconfig-packet-match",
                                                        "openconfig-defined-sets",
                                                        "openconfig-interfaces" };

// The sets of one kind: { "KIND-sets": { "KIND-set": [ { "name", "config": { "name", LEAF } } ] }
// }.
template < class Set, class Read >
void readSets( JsonFields & sets, const std::string & kind, const char * leaf, Set & all,
               Read && read ) {
  const auto container = findLeaf( sets, ( kind + "-sets" ).c_str() );
  if ( !container )
    return;
  JsonFields list = openConfigFields( sets.file(), container->node(), kind + "-sets" );
  for ( const Leaf & element : needLeaf( list, ( kind + "-set" ).c_str() ).elements() ) {
    JsonFields set = openConfigFields( sets.file(), element.node(), "a set" );
    set.find( "state" );
    const std::string name = set.text( "name" );
    if ( all.contains( name ) )
      set.fail( set.place( "name" ), fmt::format( "two sets are named {}", name ) );
    JsonFields config = openConfigFields( sets.file(), set.need( "config" ), "\"config\"" );
    if ( config.text( "name", name ) != name )
      config.fail( config.place( "name" ),
                   fmt::format( "\"name\" must be that of the set, {}", name ) );
    config.text( "description", "" );
    auto & values = all[ name ];
    for ( const Leaf & value : needLeaf( config, leaf ).elements() )
      values.push_back( read( value ) );
    config.finish();
    set.finish();
  }
  list.finish();
}

template < class Set >
const auto & named( const Set & sets, const Leaf & leaf, const char * what ) {
  const auto found = sets.find( leaf.text() );
  if ( found == sets.end() )
    leaf.refuse(
        fmt::format( "names the {} {}, which the file does not define", what, leaf.text() ) );
  return found->second;
}

}  // namespace

JsonFields::Modules openConfigModules() {
  return modules;
}

JsonFields openConfigFields( const std::string & file, const JsonNode & node,
                             const std::string & what ) {
  return { file, node, what, modules };
}

AnyRange openConfigPorts( const Leaf & leaf ) {
  if ( leaf.isText() && leaf.identity() == "ANY" )
    return { 0, 0xFFFF };
  return leaf.range( 0xFFFF, ".." );
}

void OpenConfigSets::read( const std::string & file, const JsonNode & node ) {
  JsonFields sets = openConfigFields( file, node, "\"defined-sets\"" );
  readSets(
      sets, "ipv4-prefix", "prefix", prefixes_[ 0 ],
      []( const Leaf & leaf ) { return leaf.address4(); } );
  readSets( sets, "ipv6-prefix", "prefix", prefixes_[ 1 ],
            []( const Leaf & leaf ) { return leaf.address6(); } );
  readSets( sets, "port", "port", ports_, openConfigPorts );
  sets.finish();
}

const std::vector< TernaryBits > & OpenConfigSets::prefixes( const Leaf & leaf, bool ip6 ) const {
  return named( prefixes_[ ip6 ? 1 : 0 ], leaf, ip6 ? "IPv6 prefix set" : "IPv4 prefix set" );
}

const std::vector< AnyRange > & OpenConfigSets::ports( const Leaf & leaf ) const {
  return named( ports_, leaf, "port set" );
}

}  // namespace Agent
