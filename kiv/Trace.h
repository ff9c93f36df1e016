// The text trace: named handles with levels 0 to 9, and one process-wide sink for their lines.
//
//   constinit Kiv::TraceHandle apiTrace( "ApiMorvane" );
//   const Kiv::TraceRegistration registration( apiTrace );       // found by name from now on
//
//   Kiv::traceHandle( "ApiMorvane" )->levelIs( 3, true );
//   if( auto trace = Kiv::TraceHelper::createIfEnabled( apiTrace, 3 ) ) {
//     trace << "Unit: " << unit;                  // the line is written when trace is destroyed
//   }
//
// Invariants: all levels are off at start. A disabled level costs one relaxed load.
//
// Order of calls: handles are usable before any constructor has run and live as long as the library
// is loaded; they are found by name from when it was loaded until it is unloaded.
//
// Locks: levels may be changed, lines written and handles looked up by any thread; a sink must cope
// with that.
#pragma once

#include <atomic>
#include <string_view>
#include <vector>

#include "kiv/Export.h"
#include "kiv/LineBuffer.h"
#include "kiv/Types.h"

namespace Kiv {

// How many levels and rings of all handles are on; while it is 0 no trace needs a closer look.
extern KIV_API constinit std::atomic< U32 > tracesOn;
inline bool anyTraceOn() {
  return tracesOn.load( std::memory_order_relaxed ) != 0;
}

class KIV_API TraceHandle {
 public:
  static constexpr U32 levels = 10;

  // The name must live as long as the handle.
  constexpr explicit TraceHandle( const char * name ) : name_( name ) {}
  TraceHandle( const TraceHandle & ) = delete;
  TraceHandle & operator=( const TraceHandle & ) = delete;

  const char * name() const { return name_; }

  // False for a level above 9.
  bool enabled( U32 level ) const {
    return level < levels && ( enabled_.load( std::memory_order_relaxed ) >> level & 1 ) != 0;
  }
  // Throws RangeException for a level above 9.
  void levelIs( U32 level, bool enabled );

 private:
  const char * name_;
  std::atomic< U32 > enabled_{ 0 };  // bit n: level n
};

// Lets a handle be found by name; a static object beside the handle's definition. Of two handles
// with one name the one that was registered last is found.
class KIV_API TraceRegistration {
 public:
  explicit TraceRegistration( TraceHandle & handle );
  TraceRegistration( const TraceRegistration & ) = delete;
  TraceRegistration & operator=( const TraceRegistration & ) = delete;
  ~TraceRegistration();

 private:
  friend std::vector< TraceHandle * > traceHandles();

  TraceHandle & handle_;
  TraceRegistration * next_;
};

// All registered handles, the last one first.
KIV_API std::vector< TraceHandle * > traceHandles();
// The registered handle of that name, or null.
KIV_API TraceHandle * traceHandle( std::string_view name );

// Takes the lines of all handles, without line ends. Called by any thread that traces.
class KIV_API TraceSink {
 public:
  virtual ~TraceSink();
  virtual void line( const TraceHandle & handle, U32 level, std::string_view text ) = 0;
};

// Sets the sink and returns the one before. Null is the default: standard error, a line each. The
// caller keeps the sink alive until it is replaced and no thread is in it.
KIV_API TraceSink * traceSinkIs( TraceSink * sink );

// Hands one line to the sink, whatever levels are enabled.
KIV_API void traceLine( const TraceHandle & handle, U32 level, std::string_view text );

class KIV_API TraceHelper {
 public:
  // False in a condition when the level is disabled.
  static TraceHelper createIfEnabled( const TraceHandle & handle, U32 level ) {
    return TraceHelper( handle.enabled( level ) ? &handle : nullptr, level );
  }
  TraceHelper( const TraceHelper & ) = delete;
  TraceHelper & operator=( const TraceHelper & ) = delete;
  // Writes the line that was built, if the level is enabled.
  ~TraceHelper();

  explicit operator bool() const { return handle_ != nullptr; }

  template < class T >
  TraceHelper & operator<<( const T & piece ) {
    if ( handle_ )
      line_.append( piece );
    return *this;
  }

 private:
  TraceHelper( const TraceHandle * handle, U32 level ) : handle_( handle ), level_( level ) {}

  const TraceHandle * handle_;
  U32 level_;
  LineBuffer line_;
};

}  // namespace Kiv
