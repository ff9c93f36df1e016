// Captures written by the tests.
#ifdef MORVANE_PCAP
#include <gmock/gmock.h>
#include <pcap/pcap.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "agent/packets/CaptureReader.h"
#include "agent/packets/PacketFiles.h"
#include "platform/InputError.h"

namespace Agent {

namespace {

using testing::HasSubstr;

struct Record {
  long seconds;
  long fraction;  // micro- or nanoseconds
  U32 size;       // on the wire
  U32 captured;
};

std::string capture( const std::vector< Record > & records, int linkType = DLT_EN10MB,
                     U32 precision = PCAP_TSTAMP_PRECISION_MICRO ) {
  char * bytes = nullptr;
  size_t size = 0;
  const std::unique_ptr< pcap_t, void ( * )( pcap_t * ) > writer(
      pcap_open_dead_with_tstamp_precision( linkType, 65535, precision ), pcap_close );
  pcap_dumper_t * dumper = pcap_dump_fopen( writer.get(), open_memstream( &bytes, &size ) );
  for ( const Record & record : records ) {
    pcap_pkthdr header = {};
    header.ts.tv_sec = record.seconds;
    header.ts.tv_usec = record.fraction;
    header.len = record.size;
    header.caplen = record.captured;
    const std::vector< U8 > data( record.captured, static_cast< U8 >( record.size ) );
    pcap_dump( reinterpret_cast< u_char * >( dumper ), &header, data.data() );
  }
  pcap_dump_close( dumper );
  std::string text( bytes, size );
  std::free( bytes );
  return text;
}

std::string captureError( const std::string & bytes ) {
  try {
    parseCapture( "c", bytes );
  } catch ( const Platform::InputError & error ) {
    return error.what();
  }
  return "no error";
}

// One section, one Ethernet interface and one packet of eight bytes at 5 microseconds.
std::string pcapng() {
  const U32 words[] = { 0x0A0D0D0A, 28, 0x1A2B3C4D, 1, 0xFFFFFFFF, 0xFFFFFFFF, 28,  // section
                        1,          20, DLT_EN10MB, 0, 20,                          // interface
                        6,          40, 0,          0, 5,          8,          8,  0x04030201,
                        0x08070605, 40 };  // packet
  return { reinterpret_cast< const char * >( words ), sizeof words };
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
    const std::string bytes = capture( records, DLT_EN10MB, c.precision );
    ASSERT_TRUE( isCapture( bytes ) );
    const auto packets = parseCapture( "c", bytes );
    ASSERT_EQ( packets.size(), 4U );
    EXPECT_EQ( packets[ 0 ].time, 0U );
    EXPECT_EQ( packets[ 1 ].time, 2 * c.unit );
    EXPECT_EQ( packets[ 2 ].time, 2 * c.unit );
    EXPECT_EQ( packets[ 3 ].time, 1'000'000'000U );
    EXPECT_EQ( packets[ 0 ].frame, Frame( 60, 60 ) );
    EXPECT_EQ( packets[ 3 ].frame.size(), 64U );
  }
  const auto packets = parseCapture( "c", pcapng() );
  ASSERT_EQ( packets.size(), 1U );
  EXPECT_EQ( packets[ 0 ].frame, ( Frame{ 1, 2, 3, 4, 5, 6, 7, 8 } ) );
  EXPECT_TRUE( parseCapture( "c", capture( {} ) ).empty() );
}

TEST( CaptureReaderTest, RefusesATruncatedFile ) {
  const auto tryAll = []( const std::string & whole, const std::vector< size_t > & good ) {
    for ( size_t size = 4; size < whole.size(); ++size ) {
      const bool fine = std::find( good.begin(), good.end(), size ) != good.end();
      const std::string error = captureError( whole.substr( 0, size ) );
      EXPECT_EQ( error == "no error", fine ) << size << ": " << error;
      EXPECT_TRUE( fine || error.starts_with( "c:0: " ) ) << error;
    }
  };
  tryAll( capture( { { 1, 0, 60, 60 }, { 1, 1, 60, 60 } } ), { 24, 24 + 16 + 60 } );
  tryAll( pcapng(), { 48 } );
}

TEST( CaptureReaderTest, RefusesOtherLinkTypes ) {
  EXPECT_THAT( captureError( capture( { { 1, 0, 60, 60 } }, DLT_RAW ) ),
               HasSubstr( "RAW, not Ether" ) );
  std::string other = pcapng();
  other[ 28 + 8 ] = DLT_PPP;
  EXPECT_THAT( captureError( other ), HasSubstr( "PPP" ) );
  for ( const char * text : { "", "1 2 3 4 5\n", "@0.0.0.0/0", "\xA1\xB2" } )
    EXPECT_FALSE( isCapture( text ) );
}

}  // namespace Agent
#endif
