// Makes the calls of a record again and compares their results.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sdkrecord/Recording.h"
#include "softasic/SoftAsic.h"

namespace SdkRecord {

// A result that is not the recorded one.
struct Difference {
  size_t event = 0;   // its index
  std::string where;  // "result", or the path of a value that the call returned
  std::string recorded, got;
};

struct Played {
  U64 calls = 0;
  U64 packetsLeftOut = 0;
  std::optional< Difference > difference;
};

struct PlayOptions {
  bool exactIds = false;                        // ids that the SDK chooses must be the recorded
  std::set< Shim::SdkOp > ignored = {};         // operations whose results may be others
  std::function< void( size_t ) > before = {};  // each event
};

using Events = std::vector< const Event * >;
Events eventsOf( const Recording & recording );

// The chips that it was recorded on. Throws std::invalid_argument if one is inconsistent.
std::unique_ptr< SoftAsic::SoftAsic > chipsOf( const Units & units );

// Up to the first difference. Results of failed calls, and texts for people, are not compared.
// `chip`: the SDK, if it is a software ASIC; others get no packets, and their counters are not
// compared after one that is left out. Throws FormError where a unit is reset that cannot be.
Played play( const Events & events, Shim::SdkShim & sdk, SoftAsic::SoftAsic * chip,
             const PlayOptions & options = {} );

}  // namespace SdkRecord
