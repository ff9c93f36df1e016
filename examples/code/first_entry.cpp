// One rule on a switch that is made of software: drop what comes from 10.1.2.3, and count it.
#include <cstdio>

#include "morvane/MorvaneTcamGroupManager.h"
#include "platform/PlatformLoader.h"
#include "shim/SdkCall.h"
#include "softasic/SoftAsic.h"

int main() {
  // The agent's thread holds the activity lock; the library drops it around each SDK call.
  const Kiv::LockGuard activity( Kiv::ActivityUnlockAnchor::lock() );
  const unsigned unit = 0;
  Platform::PlatformModel platform( Platform::loadPlatform( "small" ) );
  SoftAsic::SoftAsic chip;  // or the binding to a vendor's SDK
  chip.addUnit( unit, platform.data().chip );
  Shim::sdk_ = &chip;
  Morvane::platformIs( &platform );
  {
    const auto groups =
        Kiv::make< Morvane::MorvaneTcamGroupManager >( Kiv::Name( "groups" ), nullptr, false );
    groups->numPipeIs( platform.numPipe() );
    groups->modChipInfoIs( unit, platform.data().chipInfo );
    groups->initializedIs( true );

    Morvane::MorvaneBoundedTcamEntryManager & acl =
        *groups->entryManager( Morvane::ipAclTcamGroup );
    const unsigned entry = acl.getEntry( unit, acl.baseEntry(), "drop 10.1.2.3" );
    SDK_CHECKED( bcm_field_qualify_IpType( unit, entry, bcmFieldIpTypeIpv4Any ) );
    SDK_CHECKED( bcm_field_qualify_SrcIp( unit, entry, 0x0A010203, 0xFFFFFFFF ) );
    SDK_CHECKED( bcm_field_action_add( unit, entry, bcmFieldActionDrop, 0, 0 ) );
    acl.installEntry( unit, entry );

    unsigned char frame[ 64 ] = { 2, 0, 0, 0, 0, 1, 2, 0, 0, 0, 0, 2, 8, 0, 0x45 };
    const unsigned char addresses[] = { 10, 1, 2, 3, 192, 0, 2, 9 };
    frame[ 17 ] = 50;  // IP length
    std::copy( std::begin( addresses ), std::end( addresses ), frame + 26 );
    for ( int packet = 0; packet < 3; ++packet )
      std::printf( "dropped: %d\n", chip.inject( unit, 0, frame, sizeof frame ).drop );
    std::printf( "hits: %llu\n",
                 static_cast< unsigned long long >( acl.hitsForEntry( unit, entry ) ) );
    acl.releaseEntry( unit, entry );
  }
  Morvane::platformIs( nullptr );
  Shim::sdk_ = nullptr;
}
