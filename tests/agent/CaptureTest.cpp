// Captures written by the tests.
#ifdef MORVANE_PCAP
#include <fmt/core.h>
#include <gmock/gmock.h>
#include <pcap/pcap.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include "agent/packets/CaptureReader.h"
#include "agent/packets/FrameReader.h"
#include "agent/packets/PacketFiles.h"
#include "agent/packets/PacketMaker.h"
#include "agent/read/ForeignFormats.h"
#include "platform/InputError.h"

namespace Agent {

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;

struct Record {
  long seconds;
  long fraction;  // micro- or nanoseconds
  U32 size;       // on the wire
  U32 captured;
  Frame data = {};  // empty: bytes of the value `size`
};

std::string capture( const std::vector< Record > & records,
                     U32 precision = PCAP_TSTAMP_PRECISION_MICRO ) {
  char * bytes = nullptr;
  size_t size = 0;
  const std::unique_ptr< pcap_t, void ( * )( pcap_t * ) > writer(
      pcap_open_dead_with_tstamp_precision( DLT_EN10MB, 65535, precision ), pcap_close );
  pcap_dumper_t * dumper = pcap_dump_fopen( writer.get(), open_memstream( &bytes, &size ) );
  for ( const Record & record : records ) {
    pcap_pkthdr header = {};
    header.ts.tv_sec = record.seconds;
    header.ts.tv_usec = record.fraction;
    header.len = record.size;
    header.caplen = record.captured;
    Frame data = record.data;
    data.resize( record.captured, static_cast< U8 >( record.size ) );
    pcap_dump( reinterpret_cast< u_char * >( dumper ), &header, data.data() );
  }
  pcap_dump_close( dumper );
  std::string text( bytes, size );
  std::free( bytes );
  return text;
}

// With any link type that files have; libpcap writes fewer than it reads.
std::string captureOf( U32 linkType, const Record & record ) {
  std::string bytes = capture( { record } );
  std::memcpy( &bytes[ 20 ], &linkType, sizeof linkType );
  return bytes;
}

std::string captureError( const std::string & bytes ) {
  try {
    parseCapture( "c", bytes );
  } catch ( const Platform::InputError & error ) {
    return error.what();
  }
  return "no error";
}

std::string textOf( const std::vector< U32 > & words ) {
  return { reinterpret_cast< const char * >( words.data() ), words.size() * sizeof( U32 ) };
}

std::string interfaceBlock( U32 linkType, U32 snapshotLength ) {
  return textOf( { 1, 20, linkType, snapshotLength, 20 } );
}

// One section, one Ethernet interface and one packet of eight bytes at 5 microseconds.
std::string pcapng() {
  return textOf( { 0x0A0D0D0A, 28, 0x1A2B3C4D, 1, 0xFFFFFFFF, 0xFFFFFFFF, 28 } ) +
         interfaceBlock( DLT_EN10MB, 0 ) +
         textOf( { 6, 40, 0, 0, 5, 8, 8, 0x04030201, 0x08070605, 40 } );
}

}  // namespace

TEST( CaptureReaderTest, KeepsPacketTimes ) {
  // The third time stamp goes back; the fourth packet was truncated by the capture.
  const std::vector< Record > records = {
      { 100, 7, 60, 60 }, { 100, 9, 61, 61 }, { 100, 8, 62, 62 }, { 101, 7, 1500, 64 } };
  const struct {
    U32 precision;
    U64 unit;
  } cases[] = { { PCAP_TSTAMP_PRECISION_MICRO, 1000 }, { PCAP_TSTAMP_PRECISION_NANO, 1 } };
  for ( const auto & c : cases ) {
    const std::string bytes = capture( records, c.precision );
    ASSERT_TRUE( isCapture( bytes ) );
    const auto packets = parseCapture( "c", bytes ).packets;
    ASSERT_EQ( packets.size(), 4U );
    EXPECT_EQ( packets[ 0 ].time, 0U );
    EXPECT_EQ( packets[ 1 ].time, 2 * c.unit );
    EXPECT_EQ( packets[ 2 ].time, 2 * c.unit );
    EXPECT_EQ( packets[ 3 ].time, 1'000'000'000U );
    EXPECT_EQ( packets[ 0 ].frame, Frame( 60, 60 ) );
    EXPECT_EQ( packets[ 3 ].frame.size(), 64U );
  }
  const auto packets = parseCapture( "c", pcapng() ).packets;
  ASSERT_EQ( packets.size(), 1U );
  EXPECT_EQ( packets[ 0 ].frame, ( Frame{ 1, 2, 3, 4, 5, 6, 7, 8 } ) );
  EXPECT_TRUE( parseCapture( "c", capture( {} ) ).packets.empty() );
}

TEST( CaptureReaderTest, RefusesATruncatedFile ) {
  // `good`: the sizes with no packet, with one and so on.
  const auto tryAll = []( const std::string & whole, const std::vector< size_t > & good ) {
    for ( size_t size = 4; size < whole.size(); ++size ) {
      const auto next = std::upper_bound( good.begin() + 1, good.end(), size );
      const auto packets = next - good.begin() - 1;
      const bool fine = std::find( good.begin(), good.end(), size ) != good.end();
      EXPECT_EQ( captureError( whole.substr( 0, size ) ),
                 fine ? "no error"
                      : fmt::format( "c: the capture is truncated after {} packets", packets ) )
          << size;
    }
  };
  tryAll( capture( { { 1, 0, 60, 60 }, { 1, 1, 60, 60 } } ), { 24, 24 + 16 + 60 } );
  tryAll( pcapng(), { 48 } );
}

TEST( CaptureReaderTest, RefusesWhatLibpcapCannotRead ) {
  std::string other = pcapng();
  other[ 28 + 8 ] = DLT_PPP;
  const struct {
    std::string bytes, error;
  } cases[] = {
      { other, "link type is PPP; only Ethernet, raw IP" },
      { pcapng() + interfaceBlock( DLT_EN10MB, 96 ),
        "after packet 1: an interface has a snapshot length 96 [^;]*; to convert .* NEW.pcap$" },
      { pcapng() + interfaceBlock( DLT_RAW, 0 ),
        "after packet 1: an interface has a type 12 [^;]*; extract one: .* nsecpcap$" },
      { std::string( "\x1F\x8B\x08\0", 4 ) + pcapng(), "not a readable capture: .* NEW.pcap$" },
  };
  for ( const auto & c : cases ) {
    ASSERT_TRUE( isCapture( c.bytes ) || isCompressed( c.bytes ) ) << c.error;
    EXPECT_THAT( captureError( c.bytes ), ContainsRegex( "^c: .*" + c.error ) );
  }
  for ( const char * text : { "", "1 2 3 4 5\n", "@0.0.0.0/0", "\xA1\xB2" } )
    EXPECT_FALSE( isCapture( text ) );
}

// The same packets in captures of every link type become the same frames.
TEST( CaptureReaderTest, MakesUpEthernetHeaders ) {
  PacketFields fields = { 0x0A000001, 0x0A000002, protocolTcp, 1000, 80, 0x10 };
  const Frame ip4 = makeFrame( fields );
  fields.vlan = 7;
  const Frame tagged = makeFrame( fields );
  fields.vlan.reset();
  fields.l3 = L3Kind::ipv6;
  const Frame ip6 = makeFrame( fields );
  fields.l3 = L3Kind::other;
  fields.etherType = 0x0806;
  const Frame arp = makeFrame( fields );
  fields.etherType = 60 - 14;  // a length
  const Frame untyped = makeFrame( fields );
  // A cooked header of either version with the protocol `high`, `low`.
  const auto sll = []( U8 high, U8 low ) {
    return Frame{ 0, 1, 0, 1, 0, 6, 2, 3, 4, 5, 6, 7, 0, 0, high, low };
  };
  const auto sll2 = []( U8 high, U8 low ) {
    return Frame{ high, low, 0, 0, 0, 0, 0, 9, 0, 1, 1, 6, 2, 3, 4, 5, 6, 7, 0, 0 };
  };
  const struct {
    U32 linkType;  // as in files
    Frame header;
    const Frame & expected;
  } cases[] = {
      { 12, {}, ip4 },
      { 101, {}, ip6 },
      { 101, {}, untyped },  // of neither version
      { 14, {}, ip6 },
      { 228, {}, ip4 },
      { 229, {}, ip6 },
      { 113, sll( 8, 0 ), ip4 },
      { 113, sll( 0x81, 0 ), tagged },
      { 113, sll( 8, 6 ), arp },
      { 113, sll( 0, 4 ), untyped },  // IEEE 802.2
      { 276, sll2( 0x86, 0xDD ), ip6 },
      { 276, sll2( 8, 6 ), arp },
      { 0, { 2, 0, 0, 0 }, ip4 },
      { 0, { 0, 0, 0, 30 }, ip6 },
      { 0, { 2, 0, 0, 2 }, untyped },
      { 108, { 0, 0, 0, 24 }, ip6 },
  };
  for ( const auto & c : cases ) {
    Record record = { 1, 0, 0, 0, c.header };
    record.data.insert( record.data.end(), c.expected.begin() + 14, c.expected.end() );
    record.size = record.captured = static_cast< U32 >( record.data.size() );
    const PacketFile file = parseCapture( "c", captureOf( c.linkType, record ) );
    EXPECT_EQ( file.packets.at( 0 ).frame, c.expected ) << c.linkType;
    EXPECT_EQ( file.madeUp.value().packets, 1U );
  }
  // Truncated inside the cooked header, and after it: the length is that of the whole packet.
  Record cut = { 1, 0, 16 + 1600, 15, sll( 0, 4 ) };
  Frame frame = parseCapture( "c", captureOf( 113, cut ) ).packets.at( 0 ).frame;
  EXPECT_EQ( frame.size(), 14U );
  cut.captured = 20;
  frame = parseCapture( "c", captureOf( 113, cut ) ).packets.at( 0 ).frame;
  EXPECT_EQ( frame.size(), 18U );
  EXPECT_EQ( frame[ 12 ] << 8 | frame[ 13 ], 1500 );
  cut.size = 1;  // damaged
  frame = parseCapture( "c", captureOf( 113, cut ) ).packets.at( 0 ).frame;
  EXPECT_EQ( frame[ 12 ] << 8 | frame[ 13 ], 4 );
}

TEST( PacketFilesTest, ReadsRealCaptures ) {
  const std::filesystem::path folder = MORVANE_TEST_DATA "/pcap";
  if ( !std::filesystem::exists( folder ) )
    GTEST_SKIP() << "captures are absent: " << folder;
  size_t whole = 0;
  for ( const auto & entry : std::filesystem::directory_iterator( folder ) ) {
    SCOPED_TRACE( entry.path() );
    if ( entry.path().filename() == "GrePackets.pcap" ) {
      EXPECT_THAT( captureError( Platform::readFile( entry.path() ) ), HasSubstr( "snapshot" ) );
      continue;
    }
    whole += readPackets( entry.path(), 1 ).madeUp ? 0 : 1;
  }
  EXPECT_EQ( whole, 14U );
  const PacketFile streams = readPackets( folder / "four_ipv6_http_streams.pcap", 1 );
  for ( const Packet & packet : streams.packets )
    EXPECT_TRUE( readFrame( packet.frame ).ports ) << describe( readFrame( packet.frame ) );
}

}  // namespace Agent
#endif
