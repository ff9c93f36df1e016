#include "agent/packets/CaptureReader.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstring>

#include "platform/InputError.h"

#ifdef MORVANE_PCAP
#include <pcap/pcap.h>

#include <memory>
#endif

namespace Agent {

bool isCapture( std::string_view bytes ) {
  // pcap with microseconds and nanoseconds, in both byte orders; pcapng.
  constexpr U32 magics[] = { 0xA1B2C3D4, 0xD4C3B2A1, 0xA1B23C4D, 0x4D3CB2A1, 0x0A0D0D0A };
  U32 magic = 0;
  if ( bytes.size() < sizeof magic )
    return false;
  std::memcpy( &magic, bytes.data(), sizeof magic );
  return std::find( std::begin( magics ), std::end( magics ), magic ) != std::end( magics );
}

#ifdef MORVANE_PCAP

namespace {

constexpr U64 nanosecondsPerSecond = 1'000'000'000;

using Capture = std::unique_ptr< pcap_t, void ( * )( pcap_t * ) >;

// Takes ownership of the stream on success.
Capture openCapture( const std::string & file, std::FILE * stream ) {
  char error[ PCAP_ERRBUF_SIZE ] = {};
  Capture capture(
      pcap_fopen_offline_with_tstamp_precision( stream, PCAP_TSTAMP_PRECISION_NANO, error ),
      pcap_close );
  if ( !capture ) {
    std::fclose( stream );
    throw Platform::InputError( file, 0, fmt::format( "not a readable capture: {}", error ) );
  }
  if ( const int type = pcap_datalink( capture.get() ); type != DLT_EN10MB ) {
    const char * name = pcap_datalink_val_to_name( type );
    throw Platform::InputError( file, 0,
                                fmt::format( "the capture's link type is {}, not Ethernet",
                                             name == nullptr ? std::to_string( type ) : name ) );
  }
  return capture;
}

U64 nanoseconds( const timeval & stamp ) {
  // Captures opened with nanosecond precision have nanoseconds in tv_usec.
  return static_cast< U64 >( stamp.tv_sec ) * nanosecondsPerSecond +
         static_cast< U64 >( stamp.tv_usec );
}

}  // namespace

std::vector< Packet > parseCapture( const std::string & file, const std::string & bytes ) {
  // The cast is safe: libpcap only reads.
  std::FILE * stream = fmemopen( const_cast< char * >( bytes.data() ), bytes.size(), "rb" );
  if ( stream == nullptr )
    throw Platform::InputError( file, 0, std::strerror( errno ) );
  const Capture capture = openCapture( file, stream );
  std::vector< Packet > packets;
  U64 first = 0;
  pcap_pkthdr * header = nullptr;
  const u_char * data = nullptr;
  int status = 0;
  while ( ( status = pcap_next_ex( capture.get(), &header, &data ) ) == 1 ) {
    const U64 stamp = nanoseconds( header->ts );
    if ( packets.empty() )
      first = stamp;
    const U64 latest = packets.empty() ? 0 : packets.back().time;
    packets.push_back( { Frame( data, data + header->caplen ),
                         std::max( latest, stamp - std::min( stamp, first ) ) } );
  }
  if ( status != PCAP_ERROR_BREAK )
    throw Platform::InputError(
        file, 0,
        fmt::format( "after packet {}: {}", packets.size(), pcap_geterr( capture.get() ) ) );
  return packets;
}

#else

std::vector< Packet > parseCapture( const std::string & file, const std::string & ) {
  throw Platform::InputError( file, 0, "captures are not supported: built without libpcap" );
}

#endif

}  // namespace Agent
