// Statistics of entries: one object per hardware copy, read as hits and bytes.

#include "morvane/MorvaneTcamManager/EntryStats.h"

#include <cstdlib>
#include <initializer_list>

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

StatTypesList::StatTypesList( const StatTypes & wanted ) {
  KIV_ASSERT( wanted.typeSize() <= BCM_FIELD_STAT_TYPES );
  for ( auto it = wanted.typeIterConst(); it; ++it ) {
    types[ count++ ] = static_cast< bcm_field_stat_t >( it.value() );
    if ( it.value() < BCM_FIELD_STAT_TYPES )  // the SDK refuses others
      bits |= statTypeBit( it.value() );
  }
}

U32 EntryStats::install( U32 groupId, U32 entryId, const StatTypesList & list,
                         Rollback & rollback ) {
  const U32 unit = unit_;
  const bcm_field_stat_t * const statTypesList = list.types;
  const int statIdx = list.count;
  for ( int i = 0; i < statIdx; ++i )
    MORVANE_TRACE( traceDetail ) << "Unit: " << unit << "(entry=0x" << Snaptrace::hex( entryId )
                                 << ")"
                                 << " StatType: " << S32( statTypesList[ i ] ) << " index: " << i;
  if ( statIdx == 2 )
    KIV_ASSERT( abs( statTypesList[ 0 ] - statTypesList[ 1 ] ) == 1 );

  bcm_field_stat_id_t statsId{};
  const int rc =
      SDK_CALL( bcm_field_stat_create( unit, groupId, statIdx, statTypesList, &statsId ) );
  FP_COMMAND() << "fp stat create group=" << groupId << " type0=packets";
  if ( rc == BCM_E_RESOURCE )
    return 0;
  SDK_RESULT_OF( rc, bcm_field_stat_create( unit, groupId, statIdx, statTypesList, &statsId ) );
  rollback.add( unit, { cleanupDestroyStats, U32( statsId ) } );
  SDK_CHECKED( bcm_field_entry_stat_attach( unit, entryId, statsId ) );
  FP_COMMAND() << "fp stat attach entry=" << entryId << " StatId=" << statsId;
  rollback.add( unit, { cleanupDetachStats, entryId, U32( statsId ) } );
  entries().entryStatsIs( entryId, statsId );
  if ( list.bits != usualStatTypes )
    entries().statTypesIs( entryId, list.bits );
  MORVANE_TRACE( traceDetail ) << " GroupId: " << groupId << " entryId: " << entryId
                               << " statId: " << statsId;
  return statsId;
}

void EntryStats::drop( U32 entryId, Release & release ) {
  const U32 statsId = entries().entryStats( entryId );
  if ( statsId == 0 ) {
    MORVANE_TRACE( traceDetail ) << "Unit: " << unit_ << " can't find stats for entry " << entryId;
    return;
  }
  release.add( { cleanupDetachStats, entryId, statsId } );
  release.add( { cleanupDestroyStats, statsId } );
  forget( entryId );
}

void EntryStats::forget( U32 entryId ) {
  entries().entryStatsDel( entryId );
  if ( entries().statTypesSize() != 0 )
    entries().statTypesDel( entryId );
}

U32 EntryStats::idOf( U32 pipeEntry ) const {
  const U32 statsId = entries().entryStats( pipeEntry );
  KIV_ASSERT( statsId > 0 );
  return statsId;
}

// --- Reading ---------------------------------------------------------------------------------
//
// One call site per counter, because the counter is part of the traced text.

bool EntryStats::counts( U32 pipeEntry, U32 type ) const {
  const U32 types =
      entries().statTypesHas( pipeEntry ) ? entries().statTypes( pipeEntry ) : usualStatTypes;
  return ( types & statTypeBit( type ) ) != 0;
}

U64 EntryStats::packetsByColour( U32 pipeEntry ) const {
  const U32 unit = unit_;
  const U32 statsId = idOf( pipeEntry );
  U64 sum = 0;
  for ( const bcm_field_stat_t statPackets :
        { bcmFieldStatGreenPackets, bcmFieldStatYellowPackets, bcmFieldStatRedPackets } ) {
    if ( !counts( pipeEntry, statPackets ) )
      continue;
    U64 pktHits{};
    SDK_CHECKED( bcm_field_stat_get( unit, statsId, statPackets, &pktHits ) );
    sum += pktHits;
  }
  return sum;
}

U64 EntryStats::bytesByColour( U32 pipeEntry ) const {
  const U32 unit = unit_;
  const U32 statsId = idOf( pipeEntry );
  U64 sum = 0;
  for ( const bcm_field_stat_t statBytes :
        { bcmFieldStatGreenBytes, bcmFieldStatYellowBytes, bcmFieldStatRedBytes } ) {
    if ( !counts( pipeEntry, statBytes ) )
      continue;
    U64 byteHits{};
    SDK_CHECKED( bcm_field_stat_get( unit, statsId, statBytes, &byteHits ) );
    sum += byteHits;
  }
  return sum;
}

U64 EntryStats::packets( U32 pipeEntry ) const {
  const U32 unit = unit_;
  const U32 statsId = idOf( pipeEntry );
  if ( !counts( pipeEntry, bcmFieldStatPackets ) )
    return packetsByColour( pipeEntry );
  U64 statsCount{};
  SDK_CHECKED( bcm_field_stat_get( unit, statsId, bcmFieldStatPackets, &statsCount ) );
  return statsCount;
}

U64 EntryStats::bytes( U32 pipeEntry ) const {
  const U32 unit = unit_;
  const U32 statsId = idOf( pipeEntry );
  if ( !counts( pipeEntry, bcmFieldStatBytes ) )
    return bytesByColour( pipeEntry );
  U64 statsCount{};
  SDK_CHECKED( bcm_field_stat_get( unit, statsId, bcmFieldStatBytes, &statsCount ) );
  return statsCount;
}

U64 EntryStats::greenPackets( U32 pipeEntry ) const {
  const U32 unit = unit_;
  const U32 statsId = idOf( pipeEntry );
  U64 statsCount{};
  SDK_CHECKED( bcm_field_stat_get( unit, statsId, bcmFieldStatGreenPackets, &statsCount ) );
  return statsCount;
}

U64 EntryStats::greenBytes( U32 pipeEntry ) const {
  const U32 unit = unit_;
  const U32 statsId = idOf( pipeEntry );
  U64 statsCount{};
  SDK_CHECKED( bcm_field_stat_get( unit, statsId, bcmFieldStatGreenBytes, &statsCount ) );
  return statsCount;
}

U64 EntryStats::yellowPackets( U32 pipeEntry ) const {
  const U32 unit = unit_;
  const U32 statsId = idOf( pipeEntry );
  U64 statsCount{};
  SDK_CHECKED( bcm_field_stat_get( unit, statsId, bcmFieldStatYellowPackets, &statsCount ) );
  return statsCount;
}

U64 EntryStats::yellowBytes( U32 pipeEntry ) const {
  const U32 unit = unit_;
  const U32 statsId = idOf( pipeEntry );
  U64 statsCount{};
  SDK_CHECKED( bcm_field_stat_get( unit, statsId, bcmFieldStatYellowBytes, &statsCount ) );
  return statsCount;
}

U64 EntryStats::redPackets( U32 pipeEntry ) const {
  const U32 unit = unit_;
  const U32 statsId = idOf( pipeEntry );
  U64 statsCount{};
  SDK_CHECKED( bcm_field_stat_get( unit, statsId, bcmFieldStatRedPackets, &statsCount ) );
  return statsCount;
}

U64 EntryStats::redBytes( U32 pipeEntry ) const {
  const U32 unit = unit_;
  const U32 statsId = idOf( pipeEntry );
  U64 statsCount{};
  SDK_CHECKED( bcm_field_stat_get( unit, statsId, bcmFieldStatRedBytes, &statsCount ) );
  return statsCount;
}

// --- Clearing --------------------------------------------------------------------------------

void EntryStats::clearPackets( U32 entry ) {
  const U32 unit = unit_;
  for ( const PipeCopy c : copies() ) {
    const U32 statsId = entries().entryStats( c.entryId( entry ) );
    if ( statsId == 0 )
      continue;
    SDK_CHECKED_RV( bcm_field_stat_set( unit, statsId, bcmFieldStatPackets, 0 ) );
    FP_COMMAND() << "fp stat set StatId=" << statsId << " type" << U32( bcmFieldStatPackets )
                 << "=0";
    SDK_CHECKED_RV( bcm_field_stat_set( unit, statsId, bcmFieldStatGreenPackets, 0 ) );
    FP_COMMAND() << "fp stat set StatId=" << statsId << " type" << U32( bcmFieldStatGreenPackets )
                 << "=0";
    SDK_CHECKED_RV( bcm_field_stat_set( unit, statsId, bcmFieldStatRedPackets, 0 ) );
    FP_COMMAND() << "fp stat set StatId=" << statsId << " type" << U32( bcmFieldStatRedPackets )
                 << "=0";
  }
}

void EntryStats::clearBytes( U32 entry ) {
  const U32 unit = unit_;
  for ( const PipeCopy c : copies() ) {
    const U32 statsId = entries().entryStats( c.entryId( entry ) );
    if ( statsId == 0 )
      continue;
    SDK_CHECKED_RV( bcm_field_stat_set( unit, statsId, bcmFieldStatBytes, 0 ) );
    FP_COMMAND() << "fp stat set StatId=" << statsId << " type" << U32( bcmFieldStatBytes ) << "=0";
    SDK_CHECKED_RV( bcm_field_stat_set( unit, statsId, bcmFieldStatGreenBytes, 0 ) );
    FP_COMMAND() << "fp stat set StatId=" << statsId << " type" << U32( bcmFieldStatGreenBytes )
                 << "=0";
    SDK_CHECKED_RV( bcm_field_stat_set( unit, statsId, bcmFieldStatRedBytes, 0 ) );
    FP_COMMAND() << "fp stat set StatId=" << statsId << " type" << U32( bcmFieldStatRedBytes )
                 << "=0";
  }
}

void EntryStats::clearYellow( U32 entry ) {
  const U32 unit = unit_;
  for ( const PipeCopy c : copies() ) {
    const U32 statsId = entries().entryStats( c.entryId( entry ) );
    if ( statsId == 0 )
      continue;
    SDK_CHECKED_RV( bcm_field_stat_set( unit, statsId, bcmFieldStatYellowPackets, 0 ) );
    FP_COMMAND() << "fp stat set StatId=" << statsId << " type" << U32( bcmFieldStatYellowPackets )
                 << "=0";
    SDK_CHECKED_RV( bcm_field_stat_set( unit, statsId, bcmFieldStatYellowBytes, 0 ) );
    FP_COMMAND() << "fp stat set StatId=" << statsId << " type" << U32( bcmFieldStatYellowBytes )
                 << "=0";
  }
}

}  // namespace Morvane
