#include "agent/command/CapacityOptions.h"

#include <fmt/core.h>

#include <algorithm>

#include "agent/acl/PoliceRate.h"
#include "agent/command/UsageError.h"
#include "agent/session/SwitchSession.h"

namespace Agent {

namespace {

constexpr S32 stagesKnown = KELMOR_TCAM_STAGES_MAX;

// Parses one argument.
class ThresholdText {
 public:
  explicit ThresholdText( const std::string & text ) : text_( text ) {}

  StageThreshold read( const Platform::PlatformData & platform ) const;
  [[noreturn]] void fail( const std::string & what ) const {
    throw UsageError( fmt::format( "--threshold {}: {}", text_, what ) );
  }

 private:
  U32 unit( const std::string & text ) const;
  S32 stage( const std::string & name, const Platform::PlatformData & platform ) const;
  U32 percent( const std::string & text ) const;

  const std::string & text_;
};

StageThreshold ThresholdText::read( const Platform::PlatformData & platform ) const {
  const size_t slash = text_.find( '/' );
  const size_t first = slash == std::string::npos ? 0 : slash + 1;
  const size_t colon = text_.find( ':', first );
  if ( colon == std::string::npos )
    fail( "STAGE:UPPER or STAGE:UPPER:CLEAR is expected" );
  const size_t second = text_.find( ':', colon + 1 );
  StageThreshold read;
  read.key.unit = first == 0 ? SwitchSession::unit : unit( text_.substr( 0, slash ) );
  read.key.stage = stage( text_.substr( first, colon - first ), platform );
  read.threshold.upper = percent( text_.substr( colon + 1, second - colon - 1 ) );
  read.threshold.clear =
      second == std::string::npos ? read.threshold.upper : percent( text_.substr( second + 1 ) );
  if ( read.threshold.clear > read.threshold.upper )
    fail( fmt::format( "CLEAR {} is above UPPER {}", read.threshold.clear, read.threshold.upper ) );
  return read;
}

U32 ThresholdText::unit( const std::string & text ) const {
  if ( numberFromText( text ) != SwitchSession::unit )
    fail( fmt::format( "there is no unit {}, only unit {}", text, SwitchSession::unit ) );
  return SwitchSession::unit;
}

S32 ThresholdText::stage( const std::string & name,
                          const Platform::PlatformData & platform ) const {
  std::string there;
  for ( const SoftAsic::StageProfile & stage : platform.chip.stages )
    there += fmt::format( "{}{}", there.empty() ? "" : ", ", SoftAsic::stageName( stage.kind ) );
  const bool has = std::any_of(
      platform.chip.stages.begin(), platform.chip.stages.end(),
      [ & ]( const auto & stage ) { return name == SoftAsic::stageName( stage.kind ); } );
  for ( S32 stage = 0; has && stage < stagesKnown; ++stage )
    if ( name == Morvane::tcamStageName( stage ).charPtr() )
      return stage;
  fail( fmt::format( "{} has no stage {}, only {}", platform.name, name, there ) );
}

U32 ThresholdText::percent( const std::string & text ) const {
  const auto percent = numberFromText( text );
  if ( !percent || *percent < 1 || *percent > 100 )
    fail( fmt::format( "a percent from 1 to 100 is expected, not {}", text ) );
  return static_cast< U32 >( *percent );
}

}  // namespace

std::vector< StageThreshold > readThresholds( const std::vector< std::string > & arguments,
                                              const Platform::PlatformData & platform ) {
  std::vector< StageThreshold > thresholds;
  for ( const std::string & argument : arguments ) {
    const ThresholdText text( argument );
    const StageThreshold read = text.read( platform );
    for ( const StageThreshold & other : thresholds )
      if ( other.key == read.key )
        text.fail( "the stage has a threshold already" );
    thresholds.push_back( read );
  }
  return thresholds;
}

}  // namespace Agent
