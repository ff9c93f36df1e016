#include "agent/session/SwitchSession.h"

#include <system_error>

#include "sdkrecord/Recorder.h"

namespace Agent {

namespace {

Kiv::Ptr< const Morvane::MorvaneOvidUtBitmapDir > untaggedPorts(
    const Platform::PlatformData & platform ) {
  const auto directory =
      Kiv::make< Morvane::MorvaneOvidUtBitmapDir >( Kiv::Name( "ovidUtBitmapDir" ) );
  for ( const Platform::VlanData & vlan : platform.vlans ) {
    bcm_pbmp_t ports = {};
    for ( const U32 port : vlan.untaggedPorts )
      ports.add( port );
    directory->ovidUtBitmapIs( { SwitchSession::unit, vlan.id }, ports );
  }
  return directory;
}

std::unique_ptr< SdkRecord::Recorder > recorderOf( Shim::SdkShim * sdk, SoftAsic::SoftAsic & chip,
                                                   const std::string & file ) {
  if ( file.empty() )
    return nullptr;
  return sdk != nullptr ? std::make_unique< SdkRecord::Recorder >( *sdk, file )
                        : std::make_unique< SdkRecord::Recorder >( chip, file );
}

Shim::SdkShim * withUnit( Shim::SdkShim * sdk, SoftAsic::SoftAsic & chip,
                          const SoftAsic::ChipProfile & profile ) {
  if ( sdk == nullptr )
    chip.addUnit( SwitchSession::unit, profile );
  return sdk;
}

Shim::SdkShim & firstOf( Shim::SdkShim * recorder, Shim::SdkShim * sdk, Shim::SdkShim & chip ) {
  return recorder != nullptr ? *recorder : sdk != nullptr ? *sdk : chip;
}

}  // namespace

SwitchSession::SwitchSession( const Platform::PlatformData & platform, const std::string & record,
                              Shim::SdkShim * sdk )
    : platform_( platform ),
      recorder_( recorderOf( withUnit( sdk, chip_, platform.chip ), chip_, record ) ),
      calls_( firstOf( recorder_.get(), sdk, chip_ ) ) {
  calls_.keepRecords( false );
  Shim::sdk_ = &calls_;
  Morvane::platformIs( &platform_ );
  groupManager_ = Kiv::make< Morvane::MorvaneTcamGroupManager >( Kiv::Name( "tcamGroupManager" ),
                                                                 untaggedPorts( platform ), false );
  groupManager_->numPipeIs( platform_.numPipe() );
  groupManager_->modChipInfoIs( unit, platform.chipInfo );
  groupManager_->initializedIs( true );
  capacity_ = Kiv::make< Morvane::MorvaneTcamCapacitySm >(
      Kiv::Name( "tcamCapacity" ),
      Kiv::Ptr< const Morvane::MorvaneTcamGroupManager >( groupManager_ ), &capacityTable_ );
}

SwitchSession::~SwitchSession() {
  capacity_ = nullptr;
  groupManager_ = nullptr;
  Morvane::platformIs( nullptr );
  Shim::sdk_ = nullptr;
}

std::map< std::string, U64 > SwitchSession::sdkCalls() const {
  std::map< std::string, U64 > counts;
  for ( U32 op = 0; op < static_cast< U32 >( Shim::SdkOp::count ); ++op ) {
    const auto operation = static_cast< Shim::SdkOp >( op );
    if ( const U64 count = calls_.count( operation ); count != 0 )
      counts[ Shim::sdkOpName( operation ) ] = count;
  }
  return counts;
}

void SwitchSession::requireRecorded() const {
  if ( recorder_ && recorder_->error() != 0 )
    throw std::system_error( recorder_->error(), std::generic_category(), recorder_->file() );
}

}  // namespace Agent
