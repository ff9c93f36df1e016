// The ports of a unit, and the table instance that serves each.
//
// Chip rules
// - Ports count from 0; pipe p has the ports p * portsPerPipe up to the next pipe's first.
// - On a chip with a second copy the lower half of a pipe's ports is looked up in copy 0 and the
//   upper half in copy 1; with an odd number of ports the middle one belongs to copy 0.
// - The source class of a port is the number of its pipe.
#pragma once

#include "shim/SdkTypes.h"
#include "softasic/ChipProfile.h"

namespace SoftAsic {

// Whether every port of `inner` is in `outer`.
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

  // All ports, and each pipe's; pipes that the chip lacks have none.
  const bcm_port_config_t & config() const { return config_; }

 private:
  U32 count_;
  U32 portsPerPipe_;
  bool secondCopy_;
  bcm_port_config_t config_ = {};
};

}  // namespace SoftAsic
