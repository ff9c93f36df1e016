#include <algorithm>
#include <iterator>

#include "morvane/MorvaneTcamCapacity/CapacityInfo.h"
#include "morvane/MorvaneTcamCapacitySm.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/RestartMessages.h"
#include "morvane/Operation.h"
#include "shim/SdkCall.h"

namespace Morvane {

using Shim::Fields;

namespace TcamCapacity {
constinit const Kiv::LogHandle MORVANE_CONFIG_CHANGE = handleOf( configChange );
constinit const Kiv::LogHandle MORVANE_UNEXPECTED_RESTART = handleOf( unexpectedRestart );
}  // namespace TcamCapacity

namespace {

bool lists( const kelmor_tcam_capacity_info_t & info, S32 stage ) {
  for ( S32 i = 0; i < Fields::stageCount( info ); ++i )
    if ( Fields::stageNumber( Fields::stage( info, i ) ) == stage )
      return true;
  return false;
}

// Whether the use is at least that many percent of the size. False for size 0.
bool reaches( const TcamCapacityRow & row, U32 percent ) {
  return row.maxLimit != 0 && U64{ row.used } * 100 >= U64{ row.maxLimit } * percent;
}

// Percent below which the alarm is cleared.
U32 clearsBelow( const TcamCapacityThreshold & limits ) {
  return limits.clear == 0 ? limits.upper : std::min( limits.clear, limits.upper );
}

}  // namespace

Kiv::String8 tcamStageName( S32 stage ) {
  static constexpr const char * names[] = { "IFP", "VFP", "EFP", "EXT", "EXACT", "CLASS" };
  if ( stage >= 0 && stage < static_cast< S32 >( std::size( names ) ) )
    return names[ stage ];
  return Kiv::valueToStrep( stage );
}

MorvaneTcamCapacitySm::MorvaneTcamCapacitySm(
    const Kiv::Name & name, Kiv::Ptr< const MorvaneTcamGroupManager > groupManager,
    TcamCapacityTable * table )
    : Kiv::Entity( name ), groupManager_( std::move( groupManager ) ), table_( table ) {}

MorvaneTcamCapacitySm::~MorvaneTcamCapacitySm() = default;

const char * MorvaneTcamCapacitySm::fwkType() const {
  return "Morvane::MorvaneTcamCapacitySm";
}

void MorvaneTcamCapacitySm::poll() {
  for ( auto unitIter = groupManager_->modChipInfoIterConst(); unitIter; ++unitIter ) {
    const U16 unit = unitIter.key();
    const Operation operation( *groupManager_, unit );
    // The unit may have been removed during the wait for the operation, or during the read.
    if ( !groupManager_->modChipInfoHas( unit ) )
      continue;
    kelmor_tcam_capacity_info_t info = {};
    SDK_CHECKED( kelmor_bcm_tcam_capacity_info_get( unitIter.key(), &info ) );
    if ( !groupManager_->modChipInfoHas( unit ) )
      continue;
    checkCapacity( unit, info );
    pollUnit( unit, info );
  }
  for ( auto it = rowIterConst(); it; ++it )
    if ( !groupManager_->modChipInfoHas( static_cast< U16 >( it.key().unit ) ) )
      forget( it.key() );
}

void MorvaneTcamCapacitySm::pollUnit( U32 unit, const kelmor_tcam_capacity_info_t & info ) {
  for ( S32 i = 0; i < Fields::stageCount( info ); ++i ) {
    const auto & stage = Fields::stage( info, i );
    const TcamCapacityKey key( unit, Fields::stageNumber( stage ) );
    TcamCapacityRow row;
    row.used = usedEntries( stage );
    row.maxLimit = static_cast< U32 >( Fields::stageTotal( stage ) );
    // Not the slices' own free counts: where ingress keys take two rows, an empty slice of a depth
    // that checkCapacity does not know reports rows instead of keys.
    row.free = row.maxLimit - std::min( row.used, row.maxLimit );
    row.highWatermark = std::max( row.used, this->row( key ).highWatermark );
    write( key, row );
    follow( key, row );
  }
  for ( auto it = rowIterConst(); it; ++it )
    if ( it.key().unit == unit && !lists( info, it.key().stage ) )
      forget( it.key() );
}

void MorvaneTcamCapacitySm::write( const TcamCapacityKey & key, const TcamCapacityRow & row ) {
  if ( rowHas( key ) && this->row( key ) == row )
    return;
  table_->rowIs( key, row );
  rowIs( key, row );
}

void MorvaneTcamCapacitySm::follow( const TcamCapacityKey & key, const TcamCapacityRow & row ) {
  const TcamCapacityThreshold limits = threshold( key );
  const bool stands = alarm( key );
  const bool raised =
      limits.upper != 0 && reaches( row, stands ? clearsBelow( limits ) : limits.upper );
  if ( raised == stands )
    return;
  table_->alarmIs( key, raised );
  if ( raised )
    alarmIs( key, true );
  else
    alarmDel( key );
}

void MorvaneTcamCapacitySm::forget( const TcamCapacityKey & key ) {
  if ( alarm( key ) )
    table_->alarmIs( key, false );
  alarmDel( key );
  table_->rowDel( key );
  rowDel( key );
}

void MorvaneTcamCapacitySm::clearHighWatermarks() {
  for ( auto it = rowIterConst(); it; ++it ) {
    TcamCapacityRow row = it.value();
    row.highWatermark = row.used;
    write( it.key(), row );
  }
}

}  // namespace Morvane
