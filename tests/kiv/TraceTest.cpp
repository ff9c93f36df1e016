#include "kiv/Trace.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "kiv/Exception.h"

namespace {

struct Captured : Kiv::TraceSink {
  Captured() : before( Kiv::traceSinkIs( this ) ) {}
  ~Captured() override { Kiv::traceSinkIs( before ); }
  void line( const Kiv::TraceHandle & handle, Kiv::U32 level, std::string_view text ) override {
    lines.push_back( std::string( handle.name() ) + std::to_string( level ) + ":" +
                     std::string( text ) );
  }
  std::vector< std::string > lines;
  Kiv::TraceSink * before;
};

Kiv::TraceHandle handle( "TestTrace" );

TEST( TraceTest, OnlyEnabledLevelsReachTheSink ) {
  Captured sink;
  for ( Kiv::U32 level = 0; level <= 11; ++level )
    EXPECT_FALSE( Kiv::TraceHelper::createIfEnabled( handle, level ) );
  handle.levelIs( 9, true );
  handle.levelIs( 0, true );
  handle.levelIs( 0, false );
  Kiv::TraceHelper::createIfEnabled( handle, 0 ) << "off";
  Kiv::TraceHelper::createIfEnabled( handle, 9 ) << "Unit: " << 3u;
  handle.levelIs( 9, false );
  EXPECT_EQ( sink.lines, std::vector< std::string >{ "TestTrace9:Unit: 3" } );
  EXPECT_THAT( [] { handle.levelIs( 10, true ); },
               testing::ThrowsMessage< Kiv::RangeException >( "trace level above 9" ) );
}

TEST( TraceTest, WithoutASinkLinesGoToStandardError ) {
  testing::internal::CaptureStderr();
  Kiv::traceLine( handle, 0, "Unit: 3" );
  EXPECT_EQ( testing::internal::GetCapturedStderr(), "Unit: 3\n" );
}

TEST( TraceTest, RegisteredHandlesAreFoundByName ) {
  EXPECT_EQ( Kiv::traceHandle( "TestTrace" ), nullptr );
  {
    const Kiv::TraceRegistration first( handle ), second( handle );
    EXPECT_EQ( Kiv::traceHandle( "TestTrace" ), &handle );
    EXPECT_EQ( std::ranges::count( Kiv::traceHandles(), &handle ), 2 );
  }
  // An older one may end first.
  Kiv::TraceHandle young( "Young" );
  auto older = std::make_unique< Kiv::TraceRegistration >( handle );
  const Kiv::TraceRegistration younger( young );
  older.reset();
  EXPECT_EQ( Kiv::traceHandle( "Young" ), &young );
  EXPECT_EQ( Kiv::traceHandle( "TestTrace" ), nullptr );
}

TEST( LineBufferTest, AppendsEveryTypeAndTruncates ) {
  Kiv::LineBuffer line;
  line.append( Kiv::U8( 7 ) );
  line.append( ' ' );
  line.append( Kiv::S64( -5000000000 ) );
  line.append( Kiv::String8( " s " ) );
  line.append( Kiv::hex( -1 ) );
  line.append( Kiv::hex( Kiv::S8( -1 ) ) );
  line.append( Kiv::hex( 0 ) );
  line.append( true );
  line.append( static_cast< const char * >( nullptr ) );
  EXPECT_EQ( line.view(), "7 -5000000000 s ffffffffff0true(null)" );
  line.append( std::string( 253 - line.view().size(), 'x' ) );
  line.append( 123 );  // cut at 255 characters
  EXPECT_EQ( std::string( line.charPtr() ).substr( 252 ), "x12" );
}

}  // namespace
