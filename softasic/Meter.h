// Token buckets that colour packets green, yellow or red.
//
//   mode        buckets                      green           yellow         red
//   Committed   C                            C has tokens    never          else
//   SrTcm       C; E takes what C overflows  C has tokens    E has tokens   else       (RFC 2697)
//   TrTcm       C, P, filled each by itself  P and C have    only P has     P has not  (RFC 2698)
//
// A packet takes its whole frame length out of the buckets that coloured it, or nothing. Buckets
// are full at first. A colour that the packet has already is never bettered, unless the policer is
// colour-blind.
//
// Exact: tokens are integers of a millionth of a bit, of which a rate of one kilobit per second
// makes one each nanosecond.
#pragma once

#include "kiv/Types.h"
#include "shim/SdkTypes.h"

namespace SoftAsic {

using namespace Kiv::Integers;

enum class Colour : U8 { green, yellow, red };  // in the order from good to bad

class Meter {
 public:
  // False: an unknown mode or flag; a committed burst of 0 (in SrTcm: both bursts 0); in TrTcm a
  // peak burst of 0 or a peak rate below the committed one.
  static bool accepts( const bcm_policer_config_t & config );

  // `config` is acceptable; `now` is in nanoseconds and never goes back.
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
