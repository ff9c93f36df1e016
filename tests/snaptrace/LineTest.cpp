#include "snaptrace/Line.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "kiv/Exception.h"
#include "snaptrace/BcmFpCmd.h"

namespace {

using Lines = std::vector< std::string >;

struct Captured : Kiv::TraceSink {
  Captured() { Kiv::traceSinkIs( this ); }
  ~Captured() override { Kiv::traceSinkIs( nullptr ); }
  void line( const Kiv::TraceHandle &, Kiv::U32, std::string_view text ) override {
    lines.emplace_back( text );
  }
  Lines lines;
};

class LineTest : public testing::Test {
 protected:
  Snaptrace::Handle handle;
  Snaptrace::Facility facility{ "test", handle };
  Kiv::TraceHandle text{ "test" };
  Captured sink;
};

TEST_F( LineTest, DisabledLinesEvaluateNothing ) {
  int calls = 0;
  auto id = [ & ] { return ++calls; };
  EXPECT_FALSE( bcmFpCmd.enabled() );
  SNAPTRACE( facility, text, 3 ) << id();
  text.levelIs( 4, true );
  SNAPTRACE( &facility, &text, 3 ) << id();
  EXPECT_EQ( calls, 0 );
  EXPECT_EQ( handle.ringBuf(), nullptr );
  if ( calls == 0 )
    SNAPTRACE( handle, nullptr, 0 ) << id();
  else
    FAIL() << "the macro took the else";
  EXPECT_TRUE( sink.lines.empty() );
}

TEST_F( LineTest, RingAndTextTraceGetTheSameLine ) {
  facility.enabledIs( true );
  SNAPTRACE( facility, text, 3 ) << "fp entry create 0x" << Snaptrace::hex( 0x4000001u );
  text.levelIs( 3, true );
  SNAPTRACE( facility, text, 3 ) << "fp entry prio " << 7 << " ok " << true;
  facility.enabledIs( false );
  SNAPTRACE( facility, text, 3 ) << "text only";
  SNAPTRACE( handle, nullptr, 3 ) << "ring only";
  SNAPTRACE( handle, nullptr, 3 ) << "dropped" << ( handle.enabledIs( false ), 1 );
  SNAPTRACE( handle, text, 3 ) << std::string( 300, 'x' );
  EXPECT_EQ( handle.lines(),
             ( Lines{ "fp entry create 0x4000001", "fp entry prio 7 ok true", "ring only" } ) );
  EXPECT_EQ( sink.lines,
             ( Lines{ "fp entry prio 7 ok true", "text only", std::string( 255, 'x' ) } ) );
}

TEST_F( LineTest, LinesMayNest ) {
  facility.enabledIs( true );
  auto inner = [ & ] {
    SNAPTRACE( facility, nullptr, 0 ) << "inner";
    return 1;
  };
  SNAPTRACE( facility, nullptr, 0 ) << "outer " << inner() << " end";
  EXPECT_EQ( handle.lines(), ( Lines{ "inner", "outer 1 end" } ) );
}

TEST_F( LineTest, TraceFileReplacesTheRing ) {
  std::string path = testing::TempDir() + "/snaptrace-" + std::to_string( getpid() );
  facility.enabledIs( true );
  handle.mtTraceFileIs( std::make_unique< Snaptrace::MtTraceFile >( path.c_str() ) );
  SNAPTRACE( facility, nullptr, 0 ) << "in the file";
  SNAPTRACE( facility, nullptr, 0 ) << "too";
  std::stringstream file;  // complete at once, in case the agent dies
  file << std::ifstream( path ).rdbuf();
  EXPECT_EQ( file.str(), "in the file\ntoo\n" );
  handle.mtTraceFileIs( nullptr );
  SNAPTRACE( facility, nullptr, 0 ) << "in the ring";
  EXPECT_EQ( handle.lines(), Lines{ "in the ring" } );
  std::remove( path.c_str() );
  path += "/x";
  EXPECT_THAT( [ & ] { Snaptrace::MtTraceFile file( path.c_str() ); },
               testing::ThrowsMessage< Kiv::ErrnoException >( "Failed to open trace file " + path +
                                                              ": No such file or directory" ) );
}

}  // namespace
