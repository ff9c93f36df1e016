// Ports of a unit and their mapping to table instances.
//
// Chip rules
// - Ports are numbered from 0; pipe p has portsPerPipe ports from p * portsPerPipe on.
// - With a second copy, packets from the lower half of a pipe's ports are looked up in copy 0, from
//   the upper half in copy 1; the middle one of an odd number of ports uses copy 0.
// - The source class of a port is its pipe number.
#pragma once

#include "shim/SdkTypes.h"
#include "softasic/ChipProfile.h"

namespace SoftAsic {

bool isSubset( const bcm_pbmp_t & inner, const bcm_pbmp_t & outer );

class Ports {
 public:
  explicit Ports( const ChipProfile & profile );

  U32 count() const { return count_; }
  U32 pipeOf( U32 port ) const { return port / portsPerPipe_; }
  // 0 or 1; always 0 without a second copy.
  U32 copyOf( U32 port ) const {
    return secondCopy_ && port % portsPerPipe_ >= ( portsPerPipe_ + 1 ) / 2 ? 1 : 0;
  }
  U32 classOf( U32 port ) const { return pipeOf( port ); }

  // Pipes that the chip lacks have no ports.
  const bcm_port_config_t & config() const { return config_; }

 private:
  U32 count_;
  U32 portsPerPipe_;
  bool secondCopy_;
  bcm_port_config_t config_ = {};
};

}  // namespace SoftAsic
