// A record of SDK calls as a file: its lines, and the way back. docs/records-of-calls.md describes
// the form.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sdkrecord/Arguments.h"
#include "softasic/ChipProfile.h"

namespace SdkRecord {

// A line that cannot be read.
class LineError : public FormError {
 public:
  LineError( U32 line, const std::string & what ) : FormError( what ), line_( line ) {}
  U32 line() const { return line_; }

 private:
  U32 line_;
};

// A packet that came in between calls, on a software ASIC.
struct PacketIn {
  U64 time = 0;  // nanoseconds of the chip's clock
  U32 port = 0;
  U32 egress = 0;
  std::vector< U8 > frame;
};

enum class EventKind : U8 { call, packet, reset };

struct Event {
  EventKind kind = EventKind::call;
  U32 line = 0;
  U32 unit = 0;

  // Of a call; `after`: the arguments that a call without failure leaves.
  const Operation * operation = nullptr;
  std::unique_ptr< Arguments > before, after;
  bool threw = false;  // or did not return
  int rc = 0;

  PacketIn packet;
};

using Units = std::map< U32, SoftAsic::ChipProfile >;

struct Recording {
  Units units;  // empty: not of a software ASIC
  std::vector< Event > events;
};

// Lines with their ends
std::string headerText( const Units & units );
std::string packetText( U32 unit, PacketIn packet );
std::string resetText( U32 unit );
// A call up to its arguments, without an end, and what follows when it has returned.
std::string callText( const Operation & operation, U32 unit, const CallLeaves & before );
std::string resultText( int rc, const CallLeaves & before, const CallLeaves & after );
inline constexpr const char * threwText = " -> threw\n";
std::string eventText( const Event & event );

// Throws LineError.
Recording parseRecording( std::string_view text );

}  // namespace SdkRecord
