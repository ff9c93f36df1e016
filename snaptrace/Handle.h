// Where trace messages go: a handle with its ring, and the facilities that switch parts on.
//
//   bcmFpCmd.enabledIs( true );                       // switches its handle on too
//   ...
//   for( const std::string & line : Snaptrace::defaultSnaptraceHandle.lines() ) { ... }
//
// Invariants: handles and facilities are off at start and cost one relaxed load then. A handle
// takes its ring when it is switched on first, and keeps it. With a trace file the messages go to
// the file and not to the ring.
//
// Order of calls: switch on and set the file before other threads trace; the file stays while they
// do. Globals are usable before any constructor has run.
//
// Locks: recording is safe from any thread.
#pragma once

#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kiv/Export.h"
#include "kiv/Lock.h"
#include "kiv/ThreadAnnotations.h"
#include "kiv/Types.h"
#include "snaptrace/RingBuf.h"

namespace Snaptrace {

// A file that takes the messages of all threads, one a line.
class KIV_API MtTraceFile {
 public:
  // Opens for appending. Throws Kiv::ErrnoException.
  explicit MtTraceFile( const char * path );

  // Written out at once, so that the last lines before a crash are there.
  void write( std::string_view message );

 private:
  struct Close {
    void operator()( std::FILE * file ) const { std::fclose( file ); }
  };

  Kiv::Lock lock_;
  std::unique_ptr< std::FILE, Close > file_ KIV_GUARDED_BY( lock_ );
};

class KIV_API Handle {
 public:
  static constexpr U32 defaultBytes = 256 * 1024;

  constexpr Handle() = default;
  Handle( const Handle & ) = delete;
  Handle & operator=( const Handle & ) = delete;
  ~Handle();

  bool enabled() const { return enabled_.load( std::memory_order_relaxed ); }
  // The first switching on takes a ring of that many bytes; later ones keep it.
  void enabledIs( bool enabled, U32 bytes = defaultBytes );

  // Null until the handle is switched on first.
  RingBuf * ringBuf() const { return ringBuf_.load( std::memory_order_acquire ); }
  // The ring's messages, oldest first; none without a ring.
  std::vector< std::string > lines() const;

  MtTraceFile * mtTraceFile() const { return mtTraceFile_.load( std::memory_order_acquire ); }
  // Null switches back to the ring. The previous file is closed.
  void mtTraceFileIs( std::unique_ptr< MtTraceFile > file );

 private:
  std::atomic< bool > enabled_{ false };
  std::atomic< RingBuf * > ringBuf_{ nullptr };          // owned
  std::atomic< MtTraceFile * > mtTraceFile_{ nullptr };  // owned
};

// The handle of everything that names no other.
extern KIV_API Handle defaultSnaptraceHandle;

// A part of the agent whose messages are switched on and off together.
class KIV_API Facility {
 public:
  constexpr explicit Facility( const char * facilityName, Handle & handle = defaultSnaptraceHandle )
      : name( facilityName ), handle_( handle ) {}
  Facility( const Facility & ) = delete;
  Facility & operator=( const Facility & ) = delete;

  const char * const name;

  bool enabled() const { return enabled_.load( std::memory_order_relaxed ); }
  // Switching on switches the handle on; switching off leaves the handle to others.
  void enabledIs( bool enabled );
  Handle & handle() const { return handle_; }

 private:
  Handle & handle_;
  std::atomic< bool > enabled_{ false };
};

// One message on its way to its handle.
class KIV_API MsgDesc {
 public:
  // The text must live until finish.
  MsgDesc( Handle & handle, std::string_view text ) : handle_( handle ), text_( text ) {}

  // Records the message in the handle's file or ring; drops it when the handle is off.
  void finish();

 private:
  Handle & handle_;
  std::string_view text_;
};

}  // namespace Snaptrace
