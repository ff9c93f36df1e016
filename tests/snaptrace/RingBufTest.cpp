#include "snaptrace/RingBuf.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstring>
#include <deque>
#include <map>
#include <random>
#include <thread>

#include "kiv/Exception.h"

namespace {

using Kiv::U32;
using Snaptrace::RingBuf;

void record( RingBuf & ring, const std::string & text ) {
  char * room = ring.startMsg( static_cast< U32 >( text.size() ) );
  std::memcpy( room, text.data(), text.size() );
  ring.endMsg();
}

TEST( RingBufTest, KeepsTheNewestMessagesWhole ) {
  for ( U32 seed = 0; seed < 40; ++seed ) {
    std::mt19937 random( seed );
    RingBuf ring( 1024 + seed % 5 );
    std::deque< std::string > written;
    for ( int i = 0; i < 400; ++i ) {
      U32 longest = seed % 2 ? 256 : 20;
      written.emplace_back( random() % ( longest + 1 ), static_cast< char >( 'a' + i % 26 ) );
      record( ring, written.back() );
      auto lines = ring.lines();
      ASSERT_LE( lines.size(), written.size() );
      ASSERT_TRUE( std::equal( lines.rbegin(), lines.rend(), written.rbegin() ) ) << seed;
      std::size_t kept = 0;
      for ( const std::string & line : lines )
        kept += line.size() + 12;
      // Room that a message may displace: its own, the rounding, and the rest before the wrap.
      const bool full = kept + 3 * lines.size() + 2 * ( longest + 16 ) >= 1024u;
      ASSERT_TRUE( full || lines.size() == written.size() ) << seed;
    }
  }
}

TEST( RingBufTest, KeepsAsManyAsFit ) {
  RingBuf ring( 1024 );
  for ( int i = 0; i < 100; ++i )
    record( ring, std::string( 52, 'x' ) );  // 64 bytes with its length and time
  EXPECT_EQ( ring.lines().size(), 16U );
  ring.clear();
  EXPECT_TRUE( ring.lines().empty() );
  record( ring, "first" );
  EXPECT_EQ( ring.lines(), std::vector< std::string >{ "first" } );
}

TEST( RingBufTest, MessagesHaveTheTimeOfTheirRecording ) {
  const auto now = [] {
    return static_cast< Kiv::U64 >( std::chrono::duration_cast< std::chrono::nanoseconds >(
                                        std::chrono::system_clock::now().time_since_epoch() )
                                        .count() );
  };
  RingBuf ring( 1024 );
  std::vector< Kiv::U64 > times{ now() };
  for ( const char * const text : { "a", "", "longer" } ) {
    record( ring, text );
    times.push_back( now() );
  }
  const std::vector< Snaptrace::Message > messages = ring.messages();
  ASSERT_EQ( messages.size(), 3u );
  for ( std::size_t i = 0; i < 3; ++i ) {
    EXPECT_GE( messages[ i ].time, times[ i ] );
    EXPECT_LE( messages[ i ].time, times[ i + 1 ] );
  }
  EXPECT_EQ( messages[ 2 ].text, "longer" );
}

TEST( RingBufTest, RefusesOversizedMessagesAndStaysUsable ) {
  RingBuf ring( 0 );
  EXPECT_EQ( ring.bytes(), RingBuf::minBytes );
  record( ring, "kept" );
  EXPECT_THAT( [ & ] { record( ring, std::string( ring.maxSize() + 1, 'x' ) ); },
               testing::ThrowsMessage< Kiv::RangeException >(
                   "trace message larger than a quarter of its ring" ) );
  EXPECT_EQ( ring.lines(), std::vector< std::string >{ "kept" } );
  record( ring, "" );
  EXPECT_EQ( ring.lines(), ( std::vector< std::string >{ "kept", "" } ) );
}

TEST( RingBufTest, ConcurrentMessagesStayWhole ) {
  RingBuf ring( 4096 );
  auto write = [ & ]( char letter ) {
    for ( int i = 0; i < 5000; ++i )
      record( ring, std::string( static_cast< std::size_t >( i % 60 ), letter ) );
  };
  std::thread other( write, 'a' );
  std::thread reader( [ & ] {
    for ( int i = 0; i < 200; ++i )
      for ( const std::string & line : ring.lines() )
        ASSERT_EQ( line.find_first_not_of( line.empty() ? ' ' : line[ 0 ] ), std::string::npos );
  } );
  write( 'b' );
  other.join();
  reader.join();
  EXPECT_GT( ring.lines().size(), 4096u / 70 );
}

}  // namespace
