// A classifier of packets to compare the software ASIC's index with: DPDK's, one key at a time.
#pragma once

#include <vector>

#include "kiv/Types.h"

namespace Bench {

using namespace Kiv::Integers;

struct PortRange {
  U16 low = 0, high = 0xFFFF;
};

// A rule of an access list; those before it win.
struct FlowRule {
  U32 source = 0, sourceBits = 0;  // address, length of the prefix
  U32 destination = 0, destinationBits = 0;
  PortRange sourcePorts, destinationPorts;
  U8 protocol = 0, protocolMask = 0;
};

struct Flow {
  U32 source, destination;
  U16 sourcePort, destinationPort;
  U8 protocol;
};

class AclPeer {
 public:
  explicit AclPeer( const std::vector< FlowRule > & rules );
  ~AclPeer();
  AclPeer( const AclPeer & ) = delete;
  AclPeer & operator=( const AclPeer & ) = delete;

  // False if the library cannot run here.
  bool ready() const { return context_ != nullptr; }

  // A flow as the library reads it.
  struct alignas( 4 ) Key {
    U8 protocol = 0;
    U8 unused[ 3 ] = {};
    U8 source[ 4 ], destination[ 4 ], sourcePort[ 2 ], destinationPort[ 2 ];
  };
  static Key keyOf( const Flow & flow );

  // Index of the best rule from 1 on; 0: none matches.
  U32 lookup( const Key & key ) const;

 private:
  void * context_ = nullptr;
};

}  // namespace Bench
