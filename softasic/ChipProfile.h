// TCAM geometry and resource limits of one switch chip, as enforced by the software ASIC.
//
// Plain data: fill it, check it with validate() and pass it to SoftAsic::addUnit, which keeps a
// copy for the life of the unit.
//
// Terms
//   stage      field-processor stage of the pipeline: VFP (lookup), IFP (ingress) or EFP (egress)
//   instance   one set of a stage's slices. The IFP has one instance per pipe and copy, unless the
//              pipes share their tables; the other stages have exactly one.
//   slice      `depth` rows of `keyBits` key bits. A group owns whole slices.
//   wide modes a key wider than a slice takes two rows of one slice per entry (`doubleWide`, half
//              the depth) or a pair of slices in lockstep (`paired`)
#pragma once

#include <map>
#include <string>
#include <vector>

#include "kiv/Types.h"

namespace SoftAsic {

using namespace Kiv::Integers;

enum class StageKind : U8 { vfp, ifp, efp };  // in pipeline order
inline constexpr U32 stageKinds = 3;

// How an entry's key is spread over slices.
enum class WideMode : U8 { single, doubleWide, paired };

// "VFP", "IFP" or "EFP".
const char * stageName( StageKind kind );

// A run of equal slices.
struct SliceProfile {
  U32 count = 1;       // 1 or more
  U32 depth = 256;     // rows, 1 to 65536
  U32 keyBits = 160;   // 1 to 2048
  bool large = false;  // requested by BCM_FIELD_GROUP_CREATE_LARGE
};

struct StageProfile {
  StageKind kind = StageKind::ifp;
  std::vector< SliceProfile > slices;  // in slice order; 1 to 64 slices in total
  bool doubleWide = false;             // two rows of a slice can hold one entry
  bool paired = false;                 // slices 2n and 2n+1 can hold one entry together
  // Supported qualifiers and their cost in key bits, which may be 0. Stage qualifiers need not be
  // listed. Empty: defaultKeyBits.
  std::map< U32, U32 > keyBits;
};

struct ChipProfile {
  std::string name;
  U32 pipes = 1;                    // 1 to 4
  U32 portsPerPipe = 32;            // 1 or more; at most 256 ports per unit
  bool sharedByPipes = false;       // one set of IFP tables for all pipes
  bool secondCopy = false;          // two IFP instances per pipe; not with sharedByPipes
  bool groupByPreselector = false;  // only reported by the chip query
  bool udfShort = false;            // only reported by the chip query
  bool allocAtBeginning = false;    // only reported by the chip query
  bool singlePortKey = false;       // IFP keys hold one port, not a port bitmap
  bool ingressHalfSize = false;     // IFP entries always take two rows of a slice
  U32 preselectors = 0;             // per unit, at most 128; 0: not supported
  bool fixedGroupKeys = false;      // group keys cannot grow beyond their width at creation
  U32 statistics = 0;               // stat objects per stage instance; 0: not supported
  U32 rangeCheckers = 0;            // per unit, at most 48, IFP only; 0: not supported
  U32 policers = 0;     // per pipe, or per unit with sharedByPipes; at most 65536; 0: none
  U32 dataChunks = 0;   // 4-byte chunks for data qualifiers, per unit, at most 16; 0: none
  U32 dataFormats = 0;  // packet formats and EtherTypes, over all data qualifiers
  std::vector< StageProfile > stages;  // each kind at most once

  U32 ports() const { return pipes * portsPerPipe; }

  // Empty if the profile is consistent; otherwise one line with the field and the error.
  std::string validate() const;
};

// Key bits per qualifier of a stage that lists none: the width of the packet field; for the port
// bitmap the number of ports of one instance, for its class form half the ports of a pipe, for
// range checks the number of checkers.
std::map< U32, U32 > defaultKeyBits( const ChipProfile & chip, StageKind kind );

}  // namespace SoftAsic
