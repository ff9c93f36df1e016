#include "softasic/SoftAsic.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "softasic/Unit.h"

namespace SoftAsic {

// Takes the SDK lock unless the thread holds it.
class SoftAsic::Guard {
 public:
  explicit Guard( const SoftAsic & asic )
      : asic_( asic.owner_.load() == std::this_thread::get_id() ? nullptr : &asic ) {
    if ( asic_ == nullptr )
      return;
    asic_->mutex_.lock();
    asic_->owner_ = std::this_thread::get_id();
  }
  ~Guard() {
    if ( asic_ == nullptr )
      return;
    asic_->owner_ = std::thread::id();
    asic_->mutex_.unlock();
  }
  Guard( const Guard & ) = delete;
  Guard & operator=( const Guard & ) = delete;

 private:
  const SoftAsic * asic_;  // null: nothing to release
};

SoftAsic::SoftAsic() = default;
SoftAsic::~SoftAsic() = default;

void SoftAsic::addUnit( U32 unit, const ChipProfile & profile ) {
  if ( const std::string error = profile.validate(); !error.empty() )
    throw std::invalid_argument( "chip profile " + profile.name + ": " + error );
  if ( !units_.emplace( unit, nullptr ).second )
    throw std::invalid_argument( "unit " + std::to_string( unit ) + " is there already" );
  units_[ unit ] = std::make_unique< Unit >( profile );
}

void SoftAsic::reset( U32 unit ) {
  const Guard guard( *this );
  const ChipProfile profile = at( unit ).profile();
  if ( watcher_ != nullptr )
    watcher_->reset( unit );
  units_[ unit ] = std::make_unique< Unit >( profile );
}

Verdict SoftAsic::inject( U32 unit, U32 port, const U8 * frame, size_t length, U32 egressPort ) {
  const Guard guard( *this );
  for ( const U32 number : { port, egressPort } )
    if ( number >= at( unit ).ports().count() )
      throw std::out_of_range( "unit " + std::to_string( unit ) + " has no port " +
                               std::to_string( number ) );
  if ( watcher_ != nullptr )
    watcher_->packet( unit, units_[ unit ]->now(), port, egressPort, frame, length );
  return units_[ unit ]->inject( port, egressPort, frame, length );
}

U64 SoftAsic::now( U32 unit ) const {
  const Guard guard( *this );
  return at( unit ).now();
}

void SoftAsic::advance( U32 unit, U64 nanoseconds ) {
  const Guard guard( *this );
  ( void )at( unit );
  units_[ unit ]->advance( nanoseconds );
}

const Unit * SoftAsic::find( U32 unit ) const {
  const auto found = units_.find( unit );
  return found == units_.end() ? nullptr : found->second.get();
}

const Unit & SoftAsic::at( U32 unit ) const {
  const Unit * found = find( unit );
  if ( found == nullptr )
    throw std::out_of_range( "no unit " + std::to_string( unit ) );
  return *found;
}

std::vector< U32 > SoftAsic::units() const {
  const Guard guard( *this );
  std::vector< U32 > numbers;
  std::transform( units_.begin(), units_.end(), std::back_inserter( numbers ),
                  []( const auto & unit ) { return unit.first; } );
  return numbers;
}

ChipProfile SoftAsic::profile( U32 unit ) const {
  const Guard guard( *this );
  return at( unit ).profile();
}

std::vector< GroupView > SoftAsic::groups( U32 unit ) const {
  const Guard guard( *this );
  return at( unit ).groupViews();
}

std::optional< GroupView > SoftAsic::group( U32 unit, U32 groupId ) const {
  const Guard guard( *this );
  return at( unit ).groupView( groupId );
}

std::vector< EntryView > SoftAsic::entries( U32 unit, U32 groupId ) const {
  const Guard guard( *this );
  return at( unit ).entryViews( groupId );
}

std::optional< EntryView > SoftAsic::entry( U32 unit, U32 entryId ) const {
  const Guard guard( *this );
  return at( unit ).entryView( entryId );
}

std::vector< StatView > SoftAsic::statistics( U32 unit ) const {
  const Guard guard( *this );
  return at( unit ).statViews();
}

std::optional< StatView > SoftAsic::statistic( U32 unit, U32 statId ) const {
  const Guard guard( *this );
  return at( unit ).statView( statId );
}

std::vector< PreselView > SoftAsic::preselectors( U32 unit ) const {
  const Guard guard( *this );
  return at( unit ).preselViews();
}

std::vector< RangeView > SoftAsic::ranges( U32 unit ) const {
  const Guard guard( *this );
  return at( unit ).rangeViews();
}

std::vector< PolicerView > SoftAsic::policers( U32 unit ) const {
  const Guard guard( *this );
  return at( unit ).policerViews();
}

std::vector< DataQualifierView > SoftAsic::dataQualifiers( U32 unit ) const {
  const Guard guard( *this );
  return at( unit ).dataQualifierViews();
}

std::vector< TableView > SoftAsic::tables( U32 unit ) const {
  const Guard guard( *this );
  return at( unit ).tableViews();
}

std::vector< SliceView > SoftAsic::slices( U32 unit ) const {
  const Guard guard( *this );
  return at( unit ).sliceViews();
}

ControlsView SoftAsic::controls( U32 unit ) const {
  const Guard guard( *this );
  return at( unit ).controlsView();
}

kelmor_tcam_capacity_info_t SoftAsic::capacity( U32 unit ) const {
  const Guard guard( *this );
  return at( unit ).capacityView();
}

void SoftAsic::sdkLock() {
  mutex_.lock();
  owner_ = std::this_thread::get_id();
}

void SoftAsic::sdkUnlock() {
  owner_ = std::thread::id();
  mutex_.unlock();
}

template < class F >
int SoftAsic::call( U32 unit, F && operation ) {
  if ( owner_.load() != std::this_thread::get_id() )
    ++lockViolations_;
  const auto found = units_.find( unit );
  return found == units_.end() ? BCM_E_UNIT : operation( *found->second );
}

#define SDK_OP( name, params, args )                                      \
  int SoftAsic::name( U32 unit SDK_UNPACK params ) {                      \
    return call( unit, [ & ]( Unit & chip ) { return chip.name args; } ); \
  }
#include "shim/SdkOperations.inc"

bool SoftAsic::query( U32 unit, bool ChipProfile::*property ) const {
  const Unit * found = find( unit );
  return found != nullptr && found->profile().*property;
}

bool SoftAsic::kelmor_field_shared_by_pipes( U32 unit ) const {
  return query( unit, &ChipProfile::sharedByPipes );
}
bool SoftAsic::kelmor_field_second_copy( U32 unit ) const {
  return query( unit, &ChipProfile::secondCopy );
}
bool SoftAsic::kelmor_field_group_by_preselector( U32 unit ) const {
  return query( unit, &ChipProfile::groupByPreselector );
}
bool SoftAsic::kelmor_field_udf_short( U32 unit ) const {
  return query( unit, &ChipProfile::udfShort );
}
bool SoftAsic::kelmor_field_alloc_at_beginning( U32 unit ) const {
  return query( unit, &ChipProfile::allocAtBeginning );
}
bool SoftAsic::kelmor_field_ingress_half_size( U32 unit ) const {
  return query( unit, &ChipProfile::ingressHalfSize );
}
bool SoftAsic::kelmor_field_single_port_key( U32 unit ) const {
  return query( unit, &ChipProfile::singlePortKey );
}

}  // namespace SoftAsic
