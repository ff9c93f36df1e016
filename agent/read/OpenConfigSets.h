// The sets of prefixes and ports that OpenConfig documents define beside their lists.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "agent/read/Leaf.h"

namespace Agent {

// The modules of the model.
Platform::JsonFields::Modules openConfigModules();
Platform::JsonFields openConfigFields( const std::string & file, const Platform::JsonNode & node,
                                       const std::string & what );

// A port number, "LOW..HIGH" or ANY.
AnyRange openConfigPorts( const Leaf & leaf );

class OpenConfigSets {
 public:
  // Reads "defined-sets". Throws Platform::InputError.
  void read( const std::string & file, const Platform::JsonNode & node );

  // The set that the leaf names; throws if there is none.
  const std::vector< TernaryBits > & prefixes( const Leaf & leaf, bool ip6 ) const;
  const std::vector< AnyRange > & ports( const Leaf & leaf ) const;

 private:
  std::map< std::string, std::vector< TernaryBits > > prefixes_[ 2 ];  // IPv4, IPv6
  std::map< std::string, std::vector< AnyRange > > ports_;
};

}  // namespace Agent
