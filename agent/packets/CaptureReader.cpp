#include "agent/packets/CaptureReader.h"

#include <fmt/core.h>

#include "platform/InputError.h"

#ifdef MORVANE_PCAP
#include <pcap/pcap.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <span>

#include "agent/packets/PacketMaker.h"
#endif

namespace Agent {

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
// commands are in docs/packets.md.
const char * wayOut( const std::string & error ) {
  return error.find( "different from the type of the first interface" ) == std::string::npos
             ? "to convert it: editcap -F nsecpcap FILE NEW.pcap"
             : "extract one: tshark -Y frame.interface_id==0, then editcap -T ether -F nsecpcap";
}

// libpcap's words. It does not know the format of a file that is shorter than its first header.
constexpr const char * truncated = "truncated";
constexpr const char * noInterfaces = "no Interface Description Blocks";
constexpr size_t headerMin = 28;  // of pcapng; that of pcap is 24

[[noreturn]] void fail( const std::string & file, const std::string & what,
                        const std::string & error, size_t packets ) {
  if ( error.find( truncated ) != std::string::npos ||
       error.find( noInterfaces ) != std::string::npos )
    throw Platform::InputError(
        file, 0, fmt::format( "the capture is truncated after {} packets", packets ) );
  throw Platform::InputError( file, 0, fmt::format( "{}: {}; {}", what, error, wayOut( error ) ) );
}

Capture openCapture( const std::string & file, const std::string & bytes ) {
  // The cast is safe: libpcap only reads.
  std::FILE * stream = fmemopen( const_cast< char * >( bytes.data() ), bytes.size(), "rb" );
  if ( stream == nullptr )
    throw Platform::InputError( file, 0, std::strerror( errno ) );
  char error[ PCAP_ERRBUF_SIZE ] = {};
  Capture capture(
      pcap_fopen_offline_with_tstamp_precision( stream, PCAP_TSTAMP_PRECISION_NANO, error ),
      pcap_close );
  if ( !capture ) {
    std::fclose( stream );
    fail( file, "not a readable capture", bytes.size() < headerMin ? truncated : error, 0 );
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
  const Capture capture = openCapture( file, bytes );
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
  if ( status != PCAP_ERROR_BREAK )
    fail( file, fmt::format( "after packet {}", packets.size() ), pcap_geterr( capture.get() ),
          packets.size() );
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
