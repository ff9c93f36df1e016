// A binding in a shared library that a program loads at run time.
//
// The library links Morvane::TcamManager and exports one C function, which this defines:
//
//   MORVANE_SDK_PLUGIN( ExampleSdk )   // a class derived from Shim::SdkShim, default-constructible
//
// Version: the host passes its interface version, and the plugin always writes its own. Both sides
// compare them: the plugin returns null for another version, and the host does not use an object of
// another version. Both must be built with compilers of one C++ ABI.
//
// Ownership: the object belongs to the plugin. It is constructed by the first call, lives until the
// process ends, and is never deleted by the host, which never unloads the plugin either. Null with
// equal versions: the SDK could not start; the plugin has said why.
#pragma once

#include "shim/SdkShim.h"

namespace Shim {

// To be incremented with every change of a record, enumeration or code in shim/SdkDeclarations.h
// that keeps the records' sizes, and of what an operation must do.
inline constexpr U32 sdkRecordsVersion = 1;

namespace Internal {

// FNV-1a
constexpr U32 mixText( U32 hash, const char * text ) {
  for ( ; *text != '\0'; ++text )
    hash = ( hash ^ static_cast< unsigned char >( *text ) ) * 16777619U;
  return hash;
}
constexpr U32 mixNumber( U32 hash, size_t number ) {
  return ( hash ^ static_cast< U32 >( number ) ) * 16777619U;
}

constexpr U32 interfaceVersion() {
  U32 hash = mixNumber( 2166136261U, sdkRecordsVersion );
#define SDK_OP( name, params, args ) hash = mixText( hash, #name #params );
#define SDK_QUERY( name ) hash = mixText( hash, #name );
#include "shim/SdkOperations.inc"
  for ( const size_t size :
        { sizeof( bcm_field_group_config_t ), sizeof( bcm_field_qset_t ),
          sizeof( bcm_field_group_status_s ), sizeof( bcm_port_config_t ),
          sizeof( bcm_policer_config_t ), sizeof( bcm_field_data_qualifier_s ),
          sizeof( bcm_field_data_packet_format_s ), sizeof( bcm_field_data_ethertype_s ),
          sizeof( kelmor_tcam_capacity_info_t ) } )
    hash = mixNumber( hash, size );
#ifdef MORVANE_SDK_HEADER
  hash = mixText( hash, MORVANE_SDK_HEADER );
#endif
  return hash;
}

}  // namespace Internal

// Changes with every operation that is added, removed, moved or given other parameters: each moves
// the virtual functions.
inline constexpr U32 sdkInterfaceVersion = Internal::interfaceVersion();

// The exported function: `host` is the host's version; writes the plugin's.
extern "C" using SdkPluginFunction = SdkShim * ( U32 host, U32 * plugin );
inline constexpr const char * sdkPluginFunctionName = "morvane_sdk";

}  // namespace Shim

#define MORVANE_SDK_PLUGIN( Sdk )                                                        \
  extern "C" __attribute__( ( visibility( "default" ) ) ) ::Shim::SdkShim * morvane_sdk( \
      ::Kiv::U32 host, ::Kiv::U32 * plugin ) {                                           \
    *plugin = ::Shim::sdkInterfaceVersion;                                               \
    if ( host != ::Shim::sdkInterfaceVersion )                                           \
      return nullptr;                                                                    \
    static Sdk * const sdk = new Sdk;                                                    \
    return sdk;                                                                          \
  }
