// What the examples beside first_entry.cpp share: the start-up of the library on the software ASIC,
// and a packet.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

#include "morvane/MorvaneTcamGroupManager.h"
#include "platform/PlatformLoader.h"
#include "shim/SdkCall.h"
#include "softasic/SoftAsic.h"

constexpr unsigned unit = 0;

// One switch of the platform "small". The caller's thread holds the activity lock.
struct ExampleSwitch {
  ExampleSwitch() {
    chip.addUnit( unit, platform.data().chip );
    Shim::sdk_ = &chip;
    Morvane::platformIs( &platform );
    groups = Kiv::make< Morvane::MorvaneTcamGroupManager >( Kiv::Name( "groups" ), nullptr, false );
    groups->numPipeIs( platform.numPipe() );
    groups->modChipInfoIs( unit, platform.data().chipInfo );
    groups->initializedIs( true );
  }
  ~ExampleSwitch() {
    groups = nullptr;
    Morvane::platformIs( nullptr );
    Shim::sdk_ = nullptr;
  }
  ExampleSwitch( const ExampleSwitch & ) = delete;
  ExampleSwitch & operator=( const ExampleSwitch & ) = delete;

  SoftAsic::Verdict send( const std::vector< std::uint8_t > & frame ) {
    return chip.inject( unit, 0, frame.data(), frame.size() );
  }

  Platform::PlatformModel platform{ Platform::loadPlatform( "small" ) };
  SoftAsic::SoftAsic chip;
  Kiv::Ptr< Morvane::MorvaneTcamGroupManager > groups;
};

// A TCP packet from 192.0.2.1 to `destination`.
inline std::vector< std::uint8_t > tcpPacket( std::uint32_t destination,
                                              std::string_view payload = "" ) {
  constexpr unsigned ip = 14;
  constexpr unsigned tcp = ip + 20;
  constexpr unsigned data = tcp + 20;
  std::vector< std::uint8_t > frame( std::max< std::size_t >( 60, data + payload.size() ) );
  frame[ 12 ] = 8;  // EtherType of IPv4
  const std::uint8_t header[] = {
      0x45, 0, 0, std::uint8_t( 40 + payload.size() ), 0, 0, 0, 0, 64, 6, 0, 0, 192, 0, 2, 1 };
  std::copy( std::begin( header ), std::end( header ), frame.begin() + ip );
  for ( unsigned i = 0; i < 4; ++i )
    frame[ ip + 16 + i ] = std::uint8_t( destination >> ( 24 - 8 * i ) );
  frame[ tcp + 12 ] = 0x50;  // the TCP header's length
  std::copy( payload.begin(), payload.end(), frame.begin() + data );
  return frame;
}
