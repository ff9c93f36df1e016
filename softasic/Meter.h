// Token buckets that colour packets green, yellow or red.
//
//   mode        buckets                      green           yellow         red
//   Committed   C                            C has tokens    never          else
//   SrTcm       C; its overflow fills E      C has tokens    E has tokens   else       (RFC 2697)
//   TrTcm       C, P, filled independently   P and C have    only P has     P has not  (RFC 2698)
//
// A packet consumes its whole frame length from the buckets that set its colour, or nothing.
// Buckets start full. A colour-aware policer never improves a packet's colour.
//
// Tokens are integers in units of 1e-6 bit: 1 kbit/s adds exactly one per nanosecond.
#pragma once

#include "kiv/Types.h"
#include "shim/SdkTypes.h"

namespace SoftAsic {

using namespace Kiv::Integers;

enum class Colour : U8 { green, yellow, red };  // best first

class Meter {
 public:
  // False for an unknown mode or flag, a committed burst of 0 (SrTcm: both bursts 0) or, in TrTcm,
  // a peak burst of 0 or a peak rate below the committed rate.
  static bool accepts( const bcm_policer_config_t & config );

  // Requires accepts( config ). `now` is in nanoseconds and never decreases.
  Meter( const bcm_policer_config_t & config, U64 now );

  Colour mark( Colour before, U64 bytes, U64 now );

  const bcm_policer_config_t & config() const { return config_; }

 private:
  struct Bucket {
    U64 size;
    U64 tokens;
    U64 room() const { return size - tokens; }
  };

  void fill( U64 now );
  Colour markSingleRate( Colour before, U64 cost );
  Colour markTwoRates( Colour before, U64 cost );

  bcm_policer_config_t config_;
  Bucket committed_;
  Bucket second_;  // excess or peak
  U64 filledAt_;
};

}  // namespace SoftAsic
