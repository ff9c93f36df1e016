#include "agent/packets/CaptureReader.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstring>

#include "agent/packets/PacketMaker.h"
#include "platform/InputError.h"

#ifdef MORVANE_PCAP
#include <pcap/pcap.h>

#include <memory>
#include <span>
#endif

namespace Agent {

bool isCapture( std::string_view bytes ) {
  constexpr std::string_view magics[] = {
      // pcap with microseconds, with nanoseconds and of patched libpcaps, in both byte orders.
      "\xA1\xB2\xC3\xD4",
      "\xD4\xC3\xB2\xA1",
      "\xA1\xB2\x3C\x4D",
      "\x4D\x3C\xB2\xA1",
      "\xA1\xB2\xCD\x34",
      "\x34\xCD\xB2\xA1",
      "\x0A\x0D\x0D\x0A",  // pcapng
      "\x1F\x8B",          // gzip
      "\x28\xB5\x2F\xFD",  // zstd
      "snoop",
      "GMBU",  // Network Monitor
  };
  return std::any_of( std::begin( magics ), std::end( magics ),
                      [ & ]( std::string_view magic ) { return bytes.starts_with( magic ); } );
}

#ifdef MORVANE_PCAP

namespace {

constexpr U64 nanosecondsPerSecond = 1'000'000'000;

// --- Link types ------------------------------------------------------------------------------

constexpr size_t madeUpSize = 14;
constexpr size_t lengthMax = 1500;  // of IEEE 802.3; larger values are EtherTypes
constexpr U16 typeIp4 = 0x0800;
constexpr U16 typeIp6 = 0x86DD;
constexpr U16 typeMin = 0x0600;

using Bytes = std::span< const U8 >;

// A link type without Ethernet headers.
struct LinkType {
  int type;
  size_t headerSize;
  // EtherType of a packet with at least its header; values below `typeMin` mean that it has none.
  U16 ( *etherType )( Bytes packet );
};

U16 wordAt( Bytes bytes, size_t at ) {
  return static_cast< U16 >( bytes[ at ] << 8 | bytes[ at + 1 ] );
}

U16 typeOfVersion( Bytes packet ) {
  const int version = packet.empty() ? 0 : packet[ 0 ] / 16;
  return version == 4 ? typeIp4 : version == 6 ? typeIp6 : 0;
}

// The four bytes are the address family, in the byte order of the machine that captured. Its value
// for IPv6 depends on the system.
U16 typeOfFamily( Bytes packet ) {
  const U32 family = U32{ wordAt( packet, 0 ) } << 16 | wordAt( packet, 2 );
  switch ( std::min( family, __builtin_bswap32( family ) ) ) {
    case 2:
      return typeIp4;
    case 10:  // Linux
    case 23:  // Windows
    case 24:  // NetBSD, OpenBSD
    case 28:  // FreeBSD
    case 30:  // macOS
      return typeIp6;
    default:
      return 0;
  }
}

constexpr LinkType linkTypes[] = {
    { DLT_RAW, 0, typeOfVersion },
    { 14, 0, typeOfVersion },  // DLT_RAW of OpenBSD
    { DLT_IPV4, 0, []( Bytes ) { return typeIp4; } },
    { DLT_IPV6, 0, []( Bytes ) { return typeIp6; } },
    { DLT_LINUX_SLL, 16, []( Bytes packet ) { return wordAt( packet, 14 ); } },
    { DLT_LINUX_SLL2, 20, []( Bytes packet ) { return wordAt( packet, 0 ); } },
    { DLT_NULL, 4, typeOfFamily },
    { DLT_LOOP, 4, typeOfFamily },
};

// `size` is that of the packet on the wire; damaged files may give less than was captured. A packet
// that was truncated inside its header becomes an empty frame with a length of 0.
Frame ethernetFrame( const LinkType & link, Bytes packet, size_t size ) {
  PacketFields fields;
  fields.l3 = L3Kind::other;
  fields.etherType = 0;
  const bool whole = packet.size() >= link.headerSize;
  const Bytes data = whole ? packet.subspan( link.headerSize ) : Bytes();
  if ( whole ) {
    fields.etherType = link.etherType( packet );
    if ( fields.etherType < typeMin )
      fields.etherType = static_cast< U16 >(
          std::min( std::max( size, packet.size() ) - link.headerSize, lengthMax ) );
  }
  Frame frame = makeFrame( fields );
  frame.resize( madeUpSize );
  frame.insert( frame.end(), data.begin(), data.end() );
  return frame;
}

std::string linkTypeName( int type ) {
  const char * name = pcap_datalink_val_to_name( type );
  return name == nullptr ? std::to_string( type ) : name;
}

// Empty: Ethernet.
const LinkType * linkType( const std::string & file, pcap_t * capture ) {
  const int type = pcap_datalink( capture );
  if ( type == DLT_EN10MB )
    return nullptr;
  const auto link = std::find_if( std::begin( linkTypes ), std::end( linkTypes ),
                                  [ type ]( const LinkType & l ) { return l.type == type; } );
  if ( link == std::end( linkTypes ) )
    throw Platform::InputError(
        file, 0,
        fmt::format( "the capture's link type is {}; only Ethernet, raw IP, Linux cooked and BSD "
                     "loopback captures are read",
                     linkTypeName( type ) ) );
  return link;
}

// --- Reading ---------------------------------------------------------------------------------

using Capture = std::unique_ptr< pcap_t, void ( * )( pcap_t * ) >;

// What to do with a file that libpcap refuses. editcap writes what it can read before any damage,
// but no file of one link type from a file of several, unless told which. Messages are short: the
// commands are in docs/captures.md.
const char * wayOut( const std::string & error ) {
  return error.find( "different from the type of the first interface" ) == std::string::npos
             ? "to convert it: editcap -F nsecpcap FILE NEW.pcap"
             : "extract one: tshark -Y frame.interface_id==0, then editcap -T ether -F nsecpcap";
}

// Takes ownership of the stream on success.
Capture openCapture( const std::string & file, std::FILE * stream ) {
  char error[ PCAP_ERRBUF_SIZE ] = {};
  Capture capture(
      pcap_fopen_offline_with_tstamp_precision( stream, PCAP_TSTAMP_PRECISION_NANO, error ),
      pcap_close );
  if ( !capture ) {
    std::fclose( stream );
    throw Platform::InputError(
        file, 0, fmt::format( "not a readable capture: {}; {}", error, wayOut( error ) ) );
  }
  return capture;
}

U64 nanoseconds( const timeval & stamp ) {
  // Captures opened with nanosecond precision have nanoseconds in tv_usec.
  return static_cast< U64 >( stamp.tv_sec ) * nanosecondsPerSecond +
         static_cast< U64 >( stamp.tv_usec );
}

}  // namespace

PacketFile parseCapture( const std::string & file, const std::string & bytes ) {
  // The cast is safe: libpcap only reads.
  std::FILE * stream = fmemopen( const_cast< char * >( bytes.data() ), bytes.size(), "rb" );
  if ( stream == nullptr )
    throw Platform::InputError( file, 0, std::strerror( errno ) );
  const Capture capture = openCapture( file, stream );
  const LinkType * const link = linkType( file, capture.get() );
  PacketFile result;
  std::vector< Packet > & packets = result.packets;
  U64 first = 0;
  pcap_pkthdr * header = nullptr;
  const u_char * data = nullptr;
  int status = 0;
  while ( ( status = pcap_next_ex( capture.get(), &header, &data ) ) == 1 ) {
    const U64 stamp = nanoseconds( header->ts );
    if ( packets.empty() )
      first = stamp;
    const U64 latest = packets.empty() ? 0 : packets.back().time;
    const Bytes packet( data, header->caplen );
    packets.push_back( { link == nullptr ? Frame( packet.begin(), packet.end() )
                                         : ethernetFrame( *link, packet, header->len ),
                         std::max( latest, stamp - std::min( stamp, first ) ) } );
  }
  if ( status != PCAP_ERROR_BREAK ) {
    const std::string error = pcap_geterr( capture.get() );
    throw Platform::InputError(
        file, 0, fmt::format( "after packet {}: {}; {}", packets.size(), error, wayOut( error ) ) );
  }
  if ( link != nullptr && !packets.empty() )
    result.madeUp = { file, linkTypeName( link->type ), packets.size() };
  return result;
}

#else

PacketFile parseCapture( const std::string & file, const std::string & ) {
  throw Platform::InputError( file, 0, "captures are not supported: built without libpcap" );
}

#endif

}  // namespace Agent
