// Trace lines that go to a ring and to the text trace at once.
//
//   SNAPTRACE( bcmFpCmd, apiTrace, 3 ) << "fp entry create 0x" << Snaptrace::hex( entry );
//   SNAPTRACE( bcmFpCmd, nullptr, 0 ) << "fp group compress " << group;      // ring only
//
// The first argument is a facility or a handle, the second a Kiv::TraceHandle or nullptr; both may
// be pointers. When neither side is enabled nothing of the statement is evaluated beyond three
// relaxed loads, and beyond one while no trace of the process is on. Lines are cut at 255
// characters (kiv/LineBuffer.h). Nothing is allocated.
//
// Locks: safe from any thread.
#pragma once

#include <concepts>

#include "kiv/Export.h"
#include "kiv/LineBuffer.h"
#include "kiv/Trace.h"
#include "kiv/Types.h"
#include "snaptrace/Handle.h"

namespace Snaptrace {

using Kiv::hex;

// The ring side of a line: nothing, a handle, or a facility's handle while the facility is on.
class RingTarget {
 public:
  RingTarget( std::nullptr_t ) {}
  RingTarget( Handle & handle ) : handle_( &handle ) {}
  RingTarget( Handle * handle ) : handle_( handle ) {}
  RingTarget( Facility & facility ) : RingTarget( &facility ) {}
  RingTarget( Facility * facility )
      : handle_( facility && facility->enabled() ? &facility->handle() : nullptr ) {}

  // The handle to write to; null when there is none or it is off.
  Handle * enabledHandle() const { return handle_ && handle_->enabled() ? handle_ : nullptr; }

 private:
  Handle * handle_ = nullptr;
};

// The text side of a line.
class TextTarget {
 public:
  TextTarget( std::nullptr_t ) {}
  TextTarget( const Kiv::TraceHandle & handle ) : handle_( &handle ) {}
  TextTarget( const Kiv::TraceHandle * handle ) : handle_( handle ) {}

  const Kiv::TraceHandle * enabledHandle( U32 level ) const {
    return handle_ && handle_->enabled( level ) ? handle_ : nullptr;
  }

 private:
  const Kiv::TraceHandle * handle_ = nullptr;
};

inline bool isEnabled( RingTarget ring, TextTarget text, U32 level ) {
  return Kiv::anyTraceOn() && ( ring.enabledHandle() || text.enabledHandle( level ) );
}

// One line; written to each side that was enabled at its construction when it is destroyed.
class KIV_API Line {
 public:
  [[gnu::cold]] Line( RingTarget ring, TextTarget text, U32 level );
  Line( const Line & ) = delete;
  Line & operator=( const Line & ) = delete;
  [[gnu::cold]] ~Line();

  template < class T >
  Line & operator<<( const T & piece ) {
    line_.append( piece );
    return *this;
  }

 private:
  Handle * ring_;
  const Kiv::TraceHandle * text_;
  U32 level_;
  Kiv::LineBuffer line_;
};

// Lets a line be used in a conditional expression.
struct LineVoid {
  void operator&( const Line & ) const {}
};

}  // namespace Snaptrace

// An expression, so that no else of the surrounding code can bind to it.
#define SNAPTRACE( facility, textHandle, level )       \
  !Snaptrace::isEnabled( facility, textHandle, level ) \
      ? void( 0 )                                      \
      : Snaptrace::LineVoid() & Snaptrace::Line( facility, textHandle, level )
