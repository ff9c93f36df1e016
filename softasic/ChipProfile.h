// What one switch chip can hold: the geometry that the software ASIC enforces.
//
// A profile is a plain record. Who fills it (a JSON reader, a test) checks it with validate() and
// hands it to SoftAsic::addUnit, which keeps a copy; a profile never changes while its unit lives.
//
// Terms
//   stage      a place in the packet's way with field-processor tables: VFP (lookup), IFP (ingress)
//              or EFP (egress)
//   instance   one set of a stage's slices. IFP stages have one instance per pipe and copy, unless
//              the chip shares its tables between pipes; every other stage has exactly one.
//   slice      `depth` rows of `keyBits` key bits. A group owns whole slices.
//   wide modes a key that does not fit one slice's width uses two rows of one slice for an entry
//              (`doubleWide`, half the depth), or else a pair of slices in lockstep (`paired`)
#pragma once

#include <map>
#include <string>
#include <vector>

#include "kiv/Types.h"

namespace SoftAsic {

using namespace Kiv::Integers;

enum class StageKind : U8 { vfp, ifp, efp };  // in the order in which a packet passes them
inline constexpr U32 stageKinds = 3;

// How an entry's key is laid across a slice.
enum class WideMode : U8 { single, doubleWide, paired };

// "VFP", "IFP" or "EFP".
const char * stageName( StageKind kind );

// A run of equal slices.
struct SliceProfile {
  U32 count = 1;       // 1 or more
  U32 depth = 256;     // rows, 1 to 65536
  U32 keyBits = 160;   // 1 to 2048
  bool large = false;  // what BCM_FIELD_GROUP_CREATE_LARGE asks for
};

struct StageProfile {
  StageKind kind = StageKind::ifp;
  std::vector< SliceProfile > slices;  // in slice order; 1 to 64 slices altogether
  bool doubleWide = false;             // two rows of a slice can hold one entry
  bool paired = false;                 // slices 2n and 2n+1 can hold one entry together
  // Qualifiers that the stage can match, with the key bits that each costs (0: none). Stage
  // qualifiers need not be listed. Empty: the default of defaultKeyBits.
  std::map< U32, U32 > keyBits;
};

struct ChipProfile {
  std::string name;
  U32 pipes = 1;                    // 1 to 4
  U32 portsPerPipe = 32;            // 1 or more; all pipes together at most 256 ports
  bool sharedByPipes = false;       // one set of IFP tables serves all pipes
  bool secondCopy = false;          // every pipe has its IFP tables twice; not with sharedByPipes
  bool groupByPreselector = false;  // answered to the chip query only
  bool udfShort = false;            // answered to the chip query only
  bool allocAtBeginning = false;    // answered to the chip query only
  bool singlePortKey = false;       // IFP keys hold one port, not a port bitmap
  bool ingressHalfSize = false;     // IFP keys take two rows of a slice, however narrow
  U32 preselectors = 0;             // per unit, at most 128; 0: the chip has none
  bool fixedGroupKeys = false;      // a group's key gets no wider than the group was created with
  U32 statistics = 0;               // statistics objects per instance of each stage; 0: none
  U32 rangeCheckers = 0;            // per unit, at most 48, for IFP stages; 0: the chip has none
  U32 policers = 0;     // per pipe, or per unit with sharedByPipes; at most 65536; 0: none
  U32 dataChunks = 0;   // 4-byte chunks for data qualifiers, per unit, at most 16; 0: none
  U32 dataFormats = 0;  // packet formats and ether types of all data qualifiers together
  std::vector< StageProfile > stages;  // each kind at most once

  U32 ports() const { return pipes * portsPerPipe; }

  // Empty when the profile describes a chip that can exist; otherwise one line that names the
  // field and what is wrong with it.
  std::string validate() const;
};

// Key bits by qualifier for a stage without a list of its own: the width of each packet field; for
// a port bitmap the number of ports that one table serves, for its class form half of a pipe's,
// for range checks the number of checkers.
std::map< U32, U32 > defaultKeyBits( const ChipProfile & chip, StageKind kind );

}  // namespace SoftAsic
