#include "bench/AclPeer.h"

#include <rte_acl.h>
#include <rte_eal.h>
#include <sched.h>

#include <cstddef>
#include <string>

namespace Bench {

namespace {

using Key = AclPeer::Key;
enum Field : U8 { protocol, source, destination, sourcePort, destinationPort, fieldCount };
RTE_ACL_RULE_DEF( Rule, fieldCount );

// Without privileges, devices and huge pages. The library would keep the thread on one core.
bool startLibrary() {
  char program[] = "table", files[] = "--no-shconf", pages[] = "--no-huge", pci[] = "--no-pci",
       size[] = "-m1024", telemetry[] = "--no-telemetry", log[] = "--log-level=critical";
  char * arguments[] = { program, files, pages, pci, size, telemetry, log };
  cpu_set_t cores;
  sched_getaffinity( 0, sizeof( cores ), &cores );
  const int result = rte_eal_init( static_cast< int >( std::size( arguments ) ), arguments );
  sched_setaffinity( 0, sizeof( cores ), &cores );
  return result >= 0;
}

rte_acl_config configuration() {
  rte_acl_config config = {};
  config.num_categories = 1;
  config.num_fields = fieldCount;
  const struct {
    U8 type, size;
    U32 input;
    size_t offset;
  } fields[] = {
      { RTE_ACL_FIELD_TYPE_BITMASK, 1, 0, offsetof( Key, protocol ) },
      { RTE_ACL_FIELD_TYPE_MASK, 4, 1, offsetof( Key, source ) },
      { RTE_ACL_FIELD_TYPE_MASK, 4, 2, offsetof( Key, destination ) },
      { RTE_ACL_FIELD_TYPE_RANGE, 2, 3, offsetof( Key, sourcePort ) },
      { RTE_ACL_FIELD_TYPE_RANGE, 2, 3, offsetof( Key, destinationPort ) },
  };
  for ( U8 i = 0; i < fieldCount; ++i )
    config.defs[ i ] = { fields[ i ].type, fields[ i ].size, i,
                         static_cast< U8 >( fields[ i ].input ),
                         static_cast< U32 >( fields[ i ].offset ) };
  return config;
}

}  // namespace

AclPeer::AclPeer( const std::vector< FlowRule > & rules ) {
  static const bool started = startLibrary();
  if ( !started )
    return;
  static int serial = 0;
  const std::string name = "table" + std::to_string( serial++ );
  const rte_acl_param parameters = { name.c_str(), SOCKET_ID_ANY, RTE_ACL_RULE_SZ( fieldCount ),
                                     static_cast< U32 >( rules.size() ) };
  rte_acl_ctx * context = rte_acl_create( &parameters );
  if ( context == nullptr )
    return;
  int result = 0;
  for ( U32 i = 0; i < rules.size(); ++i ) {
    const FlowRule & from = rules[ i ];
    Rule rule = {};
    rule.data = { 1, RTE_ACL_MAX_PRIORITY - static_cast< S32 >( i ), i + 1 };
    rule.field[ protocol ].value.u8 = from.protocol;
    rule.field[ protocol ].mask_range.u8 = from.protocolMask;
    rule.field[ source ].value.u32 = from.source;
    rule.field[ source ].mask_range.u32 = from.sourceBits;
    rule.field[ destination ].value.u32 = from.destination;
    rule.field[ destination ].mask_range.u32 = from.destinationBits;
    rule.field[ sourcePort ].value.u16 = from.sourcePorts.low;
    rule.field[ sourcePort ].mask_range.u16 = from.sourcePorts.high;
    rule.field[ destinationPort ].value.u16 = from.destinationPorts.low;
    rule.field[ destinationPort ].mask_range.u16 = from.destinationPorts.high;
    if ( result == 0 )
      result = rte_acl_add_rules( context, reinterpret_cast< rte_acl_rule * >( &rule ), 1 );
  }
  const rte_acl_config config = configuration();
  if ( result != 0 || rte_acl_build( context, &config ) != 0 )
    rte_acl_free( context );
  else
    context_ = context;
}

AclPeer::~AclPeer() {
  rte_acl_free( static_cast< rte_acl_ctx * >( context_ ) );
}

Key AclPeer::keyOf( const Flow & flow ) {
  Key key;
  key.protocol = flow.protocol;
  for ( U32 i = 0; i < 4; ++i ) {
    key.source[ i ] = static_cast< U8 >( flow.source >> ( 24 - 8 * i ) );
    key.destination[ i ] = static_cast< U8 >( flow.destination >> ( 24 - 8 * i ) );
  }
  for ( U32 i = 0; i < 2; ++i ) {
    key.sourcePort[ i ] = static_cast< U8 >( flow.sourcePort >> ( 8 - 8 * i ) );
    key.destinationPort[ i ] = static_cast< U8 >( flow.destinationPort >> ( 8 - 8 * i ) );
  }
  return key;
}

U32 AclPeer::lookup( const Key & key ) const {
  const U8 * data = &key.protocol;
  U32 result = 0;
  rte_acl_classify( static_cast< rte_acl_ctx * >( context_ ), &data, &result, 1, 1 );
  return result;
}

}  // namespace Bench
