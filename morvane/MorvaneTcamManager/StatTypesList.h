// The counters of an entry in the SDK's form: read once, used for every copy.
#pragma once

#include "morvane/StatTypes.h"
#include "shim/SdkTypes.h"

namespace Morvane {

constexpr U32 statTypeBit( U32 type ) {
  return 1U << type;
}
inline constexpr U32 usualStatTypes =
    statTypeBit( bcmFieldStatPackets ) | statTypeBit( bcmFieldStatBytes );

struct StatTypesList {
  // In index order; at most eight (assertion).
  explicit StatTypesList( const StatTypes & wanted );

  bcm_field_stat_t types[ BCM_FIELD_STAT_TYPES ] = {};
  int count = 0;
  U32 bits = 0;  // one for each type
};

}  // namespace Morvane
