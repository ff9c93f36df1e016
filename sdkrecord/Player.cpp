#include "sdkrecord/Player.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

#include "sdkrecord/IdMap.h"
#include "shim/SdkCall.h"

namespace SdkRecord {

namespace {

const Leaf * leafOfKind( const std::vector< Leaf > & leaves, IdKind kind ) {
  const auto found = std::find_if( leaves.begin(), leaves.end(), [ & ]( const Leaf & leaf ) {
    return leaf.id == kind && std::holds_alternative< Number >( leaf.value );
  } );
  return found == leaves.end() ? nullptr : &*found;
}

U32 idIn( const CallLeaves & leaves, IdKind kind ) {
  const Leaf * leaf = leafOfKind( leaves.out, kind );
  if ( leaf == nullptr )
    leaf = leafOfKind( leaves.in, kind );
  return leaf == nullptr ? 0 : static_cast< U32 >( std::get< Number >( leaf->value ).get() );
}

class Player {
 public:
  Player( Shim::SdkShim & sdk, SoftAsic::SoftAsic * chip, const PlayOptions & options )
      : sdk_( sdk ), chip_( chip ), options_( options ) {}

  Played play( const Events & events );

 private:
  void packet( const Event & event );
  void reset( const Event & event );
  void call( const Event & event );
  void compareValues( const Event & event, const CallLeaves & recorded, const CallLeaves & got );
  void learn( const Event & event, const CallLeaves & recorded, const CallLeaves & got );
  std::string resultOf( bool threw, int rc ) const;
  void differ( const std::string & where, const std::string & recorded, const std::string & got );

  Shim::SdkShim & sdk_;
  SoftAsic::SoftAsic * const chip_;
  const PlayOptions & options_;
  IdMap ids_;
  std::set< U32 > uncounted_;  // units whose counters lack packets
  size_t at_ = 0;
  Played played_;
};

Played Player::play( const Events & events ) {
  for ( at_ = 0; at_ < events.size() && !played_.difference; ++at_ ) {
    const Event & event = *events[ at_ ];
    if ( options_.before )
      options_.before( at_ );
    if ( event.kind == EventKind::packet )
      packet( event );
    else if ( event.kind == EventKind::reset )
      reset( event );
    else
      call( event );
  }
  return std::move( played_ );
}

void Player::differ( const std::string & where, const std::string & recorded,
                     const std::string & got ) {
  if ( !played_.difference )
    played_.difference = { at_, where, recorded, got };
}

void Player::packet( const Event & event ) {
  if ( chip_ == nullptr ) {
    ++played_.packetsLeftOut;
    uncounted_.insert( event.unit );
    return;
  }
  const PacketIn & packet = event.packet;
  try {
    // The clock cannot go back, to a time that the record's chip had before its reset.
    if ( const U64 now = chip_->now( event.unit ); packet.time > now )
      chip_->advance( event.unit, packet.time - now );
    chip_->inject( event.unit, packet.port, packet.frame.data(), packet.frame.size(),
                   packet.egress );
  } catch ( const std::out_of_range & error ) {
    differ( "packet", "sent", error.what() );
  }
}

void Player::reset( const Event & event ) {
  if ( chip_ == nullptr )
    throw FormError( "a unit is reset, which only a software ASIC can be" );
  ids_.clear( event.unit );
  try {
    chip_->reset( event.unit );
  } catch ( const std::out_of_range & error ) {
    differ( "reset", "made", error.what() );
  }
}

void Player::call( const Event & event ) {
  ++played_.calls;
  const Operation & operation = *event.operation;
  const std::unique_ptr< Arguments > arguments = event.before->copy();
  const CallLeaves leaves = arguments->leaves( operation );
  if ( !options_.exactIds )
    ids_.toHere( event.unit, leaves.in );
  int rc = 0;
  bool threw = false;
  try {
    const Shim::SdkLockGuard lock( sdk_ );
    rc = arguments->call( sdk_, event.unit );
  } catch ( ... ) {
    threw = true;
  }
  if ( options_.ignored.contains( operation.op ) && ( threw || rc < 0 || event.rc < 0 ) )
    return;
  if ( threw != event.threw || rc != event.rc )
    differ( "result", resultOf( event.threw, event.rc ), resultOf( threw, rc ) );
  else if ( !threw && rc >= 0 )
    compareValues( event, event.after->leaves( operation ), leaves );
}

void Player::compareValues( const Event & event, const CallLeaves & recorded,
                            const CallLeaves & got ) {
  if ( !options_.exactIds ) {
    learn( event, recorded, got );
    ids_.toRecorded( event.unit, got.out );
  }
  const Shim::SdkOp op = event.operation->op;
  if ( options_.ignored.contains( op ) ||
       ( op == Shim::SdkOp::bcm_field_stat_get && uncounted_.contains( event.unit ) ) )
    return;
  for ( size_t i = 0; i < got.out.size(); ++i ) {
    const Leaf & here = got.out[ i ];
    if ( !here.isText() && here.text() != recorded.out[ i ].text() )
      differ( here.path, recorded.out[ i ].text(), here.text() );
  }
}

void Player::learn( const Event & event, const CallLeaves & recorded, const CallLeaves & got ) {
  const Operation & operation = *event.operation;
  if ( operation.creates != IdKind::none )
    ids_.created( event.unit, operation.creates, idIn( recorded, operation.creates ),
                  idIn( got, operation.creates ) );
  if ( operation.destroys != IdKind::none )
    ids_.destroyed( event.unit, operation.destroys, idIn( recorded, operation.destroys ) );
}

std::string Player::resultOf( bool threw, int rc ) const {
  if ( threw )
    return "did not return";
  return rc >= 0 ? std::to_string( rc ) : fmt::format( "{} ({})", rc, sdk_.sdkErrorText( rc ) );
}

}  // namespace

Events eventsOf( const Recording & recording ) {
  Events events;
  for ( const Event & event : recording.events )
    events.push_back( &event );
  return events;
}

std::unique_ptr< SoftAsic::SoftAsic > chipsOf( const Units & units ) {
  auto chips = std::make_unique< SoftAsic::SoftAsic >();
  for ( const auto & [ unit, chip ] : units )
    chips->addUnit( unit, chip );
  return chips;
}

Played play( const Events & events, Shim::SdkShim & sdk, SoftAsic::SoftAsic * chip,
             const PlayOptions & options ) {
  return Player( sdk, chip, options ).play( events );
}

}  // namespace SdkRecord
