#include "agent/feature/RuleResources.h"

#include "agent/acl/PoliceRate.h"

namespace Agent {

namespace {

Morvane::RangeCheckerDesc descOf( const AnyRange & range, U32 direction ) {
  return { static_cast< U16 >( range.low ), static_cast< U16 >( range.high ), direction };
}

void release( Morvane::MorvaneTcamEntryManager & manager, U32 unit,
              const std::optional< AnyRange > & range, U32 direction, U32 checker ) {
  if ( checker != 0 )
    manager.releaseRangeChecker( unit, descOf( *range, direction ) );
}

bcm_policer_config_t configOf( const PoliceRate & rate ) {
  bcm_policer_config_t config = {};
  config.mode = bcmPolicerModeCommitted;
  config.ckbits_sec = static_cast< U32 >( rate.bitsPerSecond / bitsPerKbit );
  config.ckbits_burst = static_cast< U32 >( rate.burstBytes * 8 / bitsPerKbit );
  return config;
}

}  // namespace

std::optional< RangeCheckers > getCheckers( Morvane::MorvaneTcamEntryManager & manager, U32 unit,
                                            const AclRule & rule, const RangeChoice & choice,
                                            bool groupMatches ) {
  bool refused = false;
  const RangeCheckers checkers = checkersBy( rule, [ & ]( const PlacedRange & range ) -> U32 {
    if ( !choice.wantsChecker( range ) )
      return 0;
    const U32 direction =
        range.ports == FieldId::sourcePorts ? BCM_FIELD_RANGE_SRCPORT : BCM_FIELD_RANGE_DSTPORT;
    const U32 checker =
        groupMatches ? manager.getRangeChecker( unit, descOf( range.range, direction ) ) : 0;
    refused = refused || checker == 0;
    return checker;
  } );
  if ( !refused || choice.method != PortMethod::checkers )
    return checkers;
  releaseCheckers( manager, unit, rule, checkers );
  return std::nullopt;
}

void releaseCheckers( Morvane::MorvaneTcamEntryManager & manager, U32 unit, const AclRule & rule,
                      const RangeCheckers & checkers ) {
  release( manager, unit, checkerRange( FieldId::destinationPorts, rule ), BCM_FIELD_RANGE_DSTPORT,
           checkers.destination );
  release( manager, unit, checkerRange( FieldId::sourcePorts, rule ), BCM_FIELD_RANGE_SRCPORT,
           checkers.source );
}

U32 createPolicer( Morvane::MorvaneTcamGroupManager & manager, U32 unit, const PoliceRate & rate ) {
  bcm_policer_config_t config = configOf( rate );
  return manager.createPolicer( unit, reinterpret_cast< U8 * >( &config ) );
}

void refillPolicer( Morvane::MorvaneTcamGroupManager & manager, U32 unit, U32 policer,
                    const PoliceRate & rate ) {
  bcm_policer_config_t config = configOf( rate );
  manager.setPolicer( unit, policer, reinterpret_cast< U8 * >( &config ) );
}

Kiv::Ptr< Morvane::StatTypes > statTypesOf( const AclRule & rule ) {
  Kiv::Ptr< Morvane::StatTypes > types =
      Kiv::make< Morvane::StatTypes >( Kiv::Name( "ruleCounters" ) );
  const auto add = [ & ]( bool wanted, bcm_field_stat_t first, bcm_field_stat_t last ) {
    for ( int type = first; wanted && type <= last; ++type )
      types->typeIs( types->typeSize(), static_cast< U32 >( type ) );
  };
  add( rule.counters.packets, bcmFieldStatPackets, bcmFieldStatPackets );
  add( rule.counters.bytes, bcmFieldStatBytes, bcmFieldStatBytes );
  add( rule.police.has_value(), bcmFieldStatGreenPackets, bcmFieldStatRedBytes );
  return types;
}

}  // namespace Agent
