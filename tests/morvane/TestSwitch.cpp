#include "tests/morvane/TestSwitch.h"

#include <algorithm>
#include <cstring>

#include "agent/verify/audit/Auditor.h"
#include "sdkrecord/Recorder.h"

namespace Test {

SoftAsic::ChipProfile profile( const Chip & chip ) {
  SoftAsic::ChipProfile made;
  made.name = "test";
  made.pipes = chip.pipes;
  made.portsPerPipe = chip.ports;
  made.secondCopy = chip.secondCopy;
  made.sharedByPipes = chip.shared;
  made.groupByPreselector = chip.presels;
  made.preselectors = chip.presels ? 64 : 0;
  made.statistics = chip.statistics;
  made.rangeCheckers = chip.rangeCheckers;
  made.policers = chip.policers;
  made.fixedGroupKeys = chip.fixedKeys;
  made.dataChunks = chip.dataChunks;
  made.dataFormats = chip.dataFormats;
  made.ingressHalfSize = chip.halfSize;
  std::vector< SoftAsic::SliceProfile > slices;
  if ( chip.slices != 0 )
    slices.push_back( { chip.slices, chip.depth, chip.keyBits, false } );
  if ( chip.largeSlices != 0 )
    slices.push_back( { chip.largeSlices, chip.depth, chip.keyBits, true } );
  for ( const auto kind :
        { SoftAsic::StageKind::vfp, SoftAsic::StageKind::ifp, SoftAsic::StageKind::efp } )
    made.stages.push_back( { kind, slices, chip.halfSize, chip.paired, {} } );
  return made;
}

std::vector< std::string > lines( const std::function< void() > & code ) {
  struct Sink : Kiv::TraceSink {
    void line( const Kiv::TraceHandle &, U32, std::string_view text ) override {
      lines.emplace_back( text );
    }
    std::vector< std::string > lines;
  } sink;
  Kiv::traceSinkIs( &sink );
  code();
  Kiv::traceSinkIs( nullptr );
  return sink.lines;
}

std::vector< std::string > callTexts( const std::function< void() > & code ) {
  Shim::sdkTrace.levelIs( 0, true );
  std::vector< std::string > texts = lines( code );
  Shim::sdkTrace.levelIs( 0, false );
  for ( std::string & text : texts )
    text.erase( 0, text.find( ' ' ) + 1 );
  return texts;
}

std::string traced( const std::function< void() > & code, U32 highest ) {
  struct Sink : Kiv::TraceSink {
    void line( const Kiv::TraceHandle & handle, U32 level, std::string_view text ) override {
      ring.emplace_back( text );
      if ( &handle == &apiMorvane && ( level <= highest || level == traceCommand ) )
        lines += fmt::format( "{} {}\n", level, text );
    }
    U32 highest = 0;
    std::vector< std::string > ring;
    std::string lines = "\n";
  } sink;
  sink.highest = highest;
  const auto traceAll = []( bool on ) {
    for ( U32 level = traceFailure; level <= traceCommand; ++level )
      apiMorvane.levelIs( level, on );
    Shim::sdkTrace.levelIs( 0, on );
    bcmFpCmd.enabledIs( on );
    Snaptrace::defaultSnaptraceHandle.enabledIs( on );
  };
  traceAll( true );
  bcmFpCmd.handle().ringBuf()->clear();
  Kiv::traceSinkIs( &sink );
  code();
  Kiv::traceSinkIs( nullptr );
  traceAll( false );
  EXPECT_EQ( bcmFpCmd.handle().lines(), sink.ring );
  return sink.lines;
}

namespace {

std::unique_ptr< SdkRecord::Recorder > recorderOf( SoftAsic::SoftAsic & asic, const Chip & chip,
                                                   const std::string & record ) {
  for ( U32 unit = 0; unit < chip.units; ++unit )
    asic.addUnit( unit, profile( chip ) );
  return record.empty() ? nullptr : std::make_unique< SdkRecord::Recorder >( asic, record );
}

}  // namespace

TestSwitch::TestSwitch( const Chip & geometry,
                        const std::string & record ) KIV_NO_THREAD_SAFETY_ANALYSIS
    : chip( geometry ),
      recorder( recorderOf( asic, chip, record ) ),
      faults( recorder ? static_cast< Shim::SdkShim & >( *recorder ) : asic ) {
  Shim::sdk_ = &log;
  platformIs( &platform );
  Kiv::ActivityUnlockAnchor::lock().lock();
}

TestSwitch::~TestSwitch() KIV_NO_THREAD_SAFETY_ANALYSIS {
  second.join();
  // Without a failed call, every operation has made all its steps.
  const bool complete = groups && !faults.everFired();
  for ( U32 unit = 0; complete && unit < chip.units; ++unit )
    EXPECT_EQ( groups->unfinishedCleanup( unit ), 0U );
  // A test may hold references to groups of its own.
  for ( const std::string & line :
        complete && auditedAtEnd ? Audit::audit( *groups, asic ) : std::vector< std::string >() )
    EXPECT_THAT( line, HasSubstr( "its managers hold" ) );
  stop();
  Kiv::ActivityUnlockAnchor::lock().unlock();
  platformIs( nullptr );
  Shim::sdk_ = nullptr;
}

void TestSwitch::construct( bool singleView ) {
  vlans = Kiv::make< MorvaneOvidUtBitmapDir >( Kiv::Name( "vlans" ) );
  groups = Kiv::make< MorvaneTcamGroupManager >( Kiv::Name( "groups" ), vlans, singleView );
  groups->numPipeIs( chip.shared ? 1 : chip.pipes );
  for ( U32 unit = 0; unit < chip.units; ++unit )
    groups->modChipInfoIs( static_cast< U16 >( unit ), chipInfo );
}

void TestSwitch::start( bool singleView ) {
  construct( singleView );
  groups->initializedIs( true );
}

MorvaneTcamEntryManager & TestSwitch::manager( TcamGroupAssignment assignment ) const {
  if ( groups->entryManagerHas( assignment ) )
    return bounded( assignment );
  return unbounded( assignment );
}

U32 TestSwitch::take( TcamGroupAssignment assignment, U32 offset, U32 unit ) const {
  if ( groups->unboundedEntryManagerHas( assignment ) )
    return unbounded( assignment ).getEntry( unit, "rule" );
  MorvaneBoundedTcamEntryManager & user = bounded( assignment );
  return user.getEntry( unit, user.baseEntry() + offset, "rule" );
}

std::string TestSwitch::audit( const MorvaneTcamCapacitySm * capacity ) const {
  return fmt::format( "{}", fmt::join( Audit::audit( *groups, asic, capacity ), "\n" ) );
}

std::string TestSwitch::counts( U32 unit ) const {
  std::vector< std::string > all;
  for ( auto it = groups->groupCountsIterConst(); it; ++it )
    all.push_back( fmt::format( "{}/{}", std::max( 0, it.member()->unitRefCount( unit ) ),
                                it.member()->unitAllocated( unit ) ) );
  return fmt::format( "{}", fmt::join( all, " " ) );
}

std::vector< std::string > TestSwitch::calls( const std::vector< SdkOp > & ops ) {
  std::vector< std::string > all;
  for ( const SoftAsic::CallRecord & call : log.records() ) {
    const std::string name = sdkOpName( call.op );
    if ( std::find( ops.begin(), ops.end(), call.op ) != ops.end() )
      all.push_back( fmt::format( "{} {:x}", name.substr( name.find( "field_" ) + 6 ), call.id ) );
  }
  log.clear();
  return all;
}

std::vector< SoftAsic::CallRecord > TestSwitch::callsOf( const std::function< void() > & run ) {
  const Ending plain = inChild( [ & ] {
    log.clear();
    run();
    for ( const SoftAsic::CallRecord & call : log.records() )
      std::fprintf( stderr, "%u %u\n", static_cast< U32 >( call.op ), call.id );
  } );
  std::vector< SoftAsic::CallRecord > calls;
  U32 op = 0, id = 0;
  for ( const char * at = plain.text.c_str(); std::sscanf( at, "%u %u", &op, &id ) == 2;
        at = std::strchr( at, '\n' ) + 1 )
    calls.push_back( { static_cast< SdkOp >( op ), 0, id, 0, false } );
  return calls;
}

void TestSwitch::match( U32 unit, U32 entry, U32 dstIp ) const {
  SDK_CHECKED( bcm_field_qualify_clear( unit, entry ) );
  SDK_CHECKED( bcm_field_qualify_DstIp( unit, entry, dstIp, 0xFFFFFFFF ) );
}

U32 TestSwitch::hit( U32 unit, U32 port, U32 dstIp, U16 vlan ) {
  U8 frame[ 64 ] = {}, *afterTag = frame;
  if ( vlan != 0 ) {
    frame[ 12 ] = 0x81;
    frame[ 15 ] = static_cast< U8 >( vlan );
    afterTag += 4;
  }
  afterTag[ 12 ] = 0x08;  // IPv4
  afterTag[ 14 ] = 0x45;
  afterTag[ 17 ] = 20;   // total length
  afterTag[ 23 ] = 253;  // protocol
  for ( U32 i = 0; i < 4; ++i )
    afterTag[ 30 + i ] = static_cast< U8 >( dstIp >> ( 24 - 8 * i ) );
  const SoftAsic::Verdict verdict = asic.inject( unit, port, frame, sizeof( frame ) );
  return verdict.matches.empty() ? 0 : verdict.matches.front().entry;
}

}  // namespace Test
