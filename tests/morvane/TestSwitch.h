// A switch for tests: software units behind a call log and a fault injector, a platform, and the
// group manager. The activity lock is held from construction to destruction.
//
//   TestSwitch sw( { .pipes = 2 } );
//   sw.platform.acl( 1, 16, tcamAllocateOnDemand );
//   sw.start();
//   sw.bounded( ipAclTcamGroup ).getEntry( 0, 0x10000, "rule" );
//   EXPECT_EQ( sw.audit(), "" );
#pragma once

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "morvane/MorvaneTcamCapacitySm.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"
#include "softasic/CallLog.h"
#include "softasic/FaultInjector.h"
#include "softasic/SoftAsic.h"
#include "tests/morvane/SecondActivity.h"
#include "tests/morvane/TestPlatform.h"
#include "tests/shim/Death.h"

namespace SdkRecord {
class Recorder;
}

namespace Test {

using Shim::SdkOp;
using testing::ElementsAre;
using testing::HasSubstr;

inline constexpr U32 portsPerPipe = 8;

// Geometry of the units; every stage has the same slices.
struct Chip {
  U32 pipes = 1;
  bool secondCopy = false;
  bool shared = false;
  bool presels = false;  // groups are looked up by preselector
  U32 units = 1;
  U32 ports = portsPerPipe;  // of each pipe
  U32 slices = 4;
  U32 largeSlices = 0;
  U32 depth = 64;
  U32 statistics = 1024;
  U32 rangeCheckers = 4;
  U32 policers = 16;  // of each pipe
  U32 keyBits = 512;
  bool paired = false;  // a key that is too wide takes two slices
  bool fixedKeys = false;
  U32 dataChunks = 16;
  U32 dataFormats = 16;
  bool halfSize = false;  // ingress keys take two rows

  friend void PrintTo( const Chip & chip, std::ostream * out ) {
    *out << fmt::format( "{} pipes{}{}, {} units", chip.pipes, chip.secondCopy ? " twice" : "",
                         chip.shared ? " shared" : "", chip.units );
  }
};

SoftAsic::ChipProfile profile( const Chip & chip );

// The lines that the code writes to the text trace.
std::vector< std::string > lines( const std::function< void() > & code );
// The texts of the SDK calls that it makes, with their results and without file and line.
std::vector< std::string > callTexts( const std::function< void() > & code );
// The library's lines that it traces up to a level, and the diagnostic-shell echo, each after its
// level. The ring buffer must hold the same lines as the text trace, and the SDK calls with them.
std::string traced( const std::function< void() > & code, U32 highest = traceDetail );

// The lines that only one of two states has, marked "-" and "+".
std::string difference( const std::string & before, const std::string & after );

class TestSwitch {
 public:
  // `record`: a file for the calls that reach the chips; empty: none.
  explicit TestSwitch( const Chip & chip = {}, const std::string & record = "" );
  ~TestSwitch();
  TestSwitch( const TestSwitch & ) = delete;
  TestSwitch & operator=( const TestSwitch & ) = delete;

  // Creates the group manager, with all units known; start also runs its start-up.
  void construct( bool singleView = false );
  void start( bool singleView = false );
  // Deletes the managers; the chips keep their state.
  void stop() { groups = nullptr; }

  MorvaneBoundedTcamEntryManager & bounded( TcamGroupAssignment assignment ) const {
    return *groups->entryManager( assignment );
  }
  MorvaneUnboundedTcamEntryManager & unbounded( TcamGroupAssignment assignment ) const {
    return *groups->unboundedEntryManager( assignment );
  }
  // The user's manager of either kind.
  MorvaneTcamEntryManager & manager( TcamGroupAssignment assignment ) const;
  // Gets an entry from it: the one at `offset` of its range, or any.
  U32 take( TcamGroupAssignment assignment, U32 offset = 0, U32 unit = 0 ) const;
  // Every entry manager of the switch.
  std::vector< Kiv::Ptr< MorvaneTcamEntryManager > > managers() const;
  const UnitEntriesCreated & records( const MorvaneTcamEntryManager & manager,
                                      U32 unit = 0 ) const {
    return *manager.internalUnitEntry( unit );
  }

  // Releases everything that clients hold, on every unit; reports what the chips still hold.
  std::string emptied();

  // The auditor's differences, one a line; "" when records and chips agree.
  std::string audit( const MorvaneTcamCapacitySm * capacity = nullptr ) const;
  // Records and chips as text, without physical places and exhaustion marks: a failed operation
  // leaves it unchanged.
  std::string state() const;
  // "users/entries" of every counter record on the unit, in order: "1/2 1/2".
  std::string counts( U32 unit = 0 ) const;
  // The logged calls of some operations, one "name id" each without the SDK's prefix, the id in
  // hexadecimal; the log is cleared.
  std::vector< std::string > calls( const std::vector< SdkOp > & ops );
  // The calls of a run without faults. It runs in a child, so that this switch is unchanged.
  std::vector< SoftAsic::CallRecord > callsOf( const std::function< void() > & run );

  // Qualifies the pipe-0, copy-0 entry on a destination address.
  void match( U32 unit, U32 entry, U32 dstIp ) const;
  // Makes a VLAN untagged on some of the first 64 ports, one bit each.
  void untag( U32 unit, U16 vlan, U64 ports ) const {
    vlans->ovidUtBitmapIs( { unit, vlan },
                           { { static_cast< U32 >( ports ), static_cast< U32 >( ports >> 32 ) } } );
  }
  // The entry that an IPv4 packet hits in the first group that matches, or 0. The packet is tagged
  // with `vlan`, below 256; 0: untagged.
  U32 hit( U32 unit, U32 port, U32 dstIp, U16 vlan = 0 );

  const Chip chip;
  SoftAsic::SoftAsic asic;
  std::unique_ptr< SdkRecord::Recorder > recorder;
  SoftAsic::FaultInjector faults;
  SecondActivity second{ faults };
  SoftAsic::CallLog log{ second };
  TestPlatform platform;
  MorvaneCentral::ChipInfo chipInfo = {};    // of every unit
  Kiv::Ptr< MorvaneOvidUtBitmapDir > vlans;  // nothing is untagged at first
  Kiv::Ptr< MorvaneTcamGroupManager > groups;
  // At the end of the test, unless an SDK call failed: the records must fit the chip.
  bool auditedAtEnd = true;

 private:
  void releaseEverything( U32 unit );
  void leaveGroups( U32 unit );
};

}  // namespace Test
