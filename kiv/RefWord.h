// The reference word of everything that is shared: a count and two flag bits in 32 bits.
//
// Invariants: the count is the word masked with countMask; the flag bits never take part in the
// zero test. The result of increment and decrement is the value that the operation itself stored,
// so that only one of several owners can see the count reach zero.
//
// Locks: none. With enableThreadSafePointers on, counts may be changed from several threads; with
// it off, from the activity's thread only, and a change costs no locked instruction.
#pragma once

#include <atomic>

#include "kiv/Export.h"
#include "kiv/Types.h"

namespace Kiv {

// Process-wide switch, off at start. Turn it on before a second thread shares any object.
extern KIV_API std::atomic< bool > enableThreadSafePointers;

class RefWord {
 public:
  static constexpr U32 countMask = 0x5fffffff;
  static constexpr U32 flagDying = 0x80000000;  // zero was reached; the owner is being destroyed
  static constexpr U32 flagOwner = 0x20000000;  // free for the class that holds the word

  static constexpr U32 count( U32 word ) { return word & countMask; }

  // The whole word after one reference was added.
  U32 increment() {
    if ( enableThreadSafePointers.load( std::memory_order_relaxed ) )
      return word_.fetch_add( 1, std::memory_order_relaxed ) + 1;
    U32 word = word_.load( std::memory_order_relaxed ) + 1;
    word_.store( word, std::memory_order_relaxed );
    return word;
  }

  // The whole word after one reference was taken away.
  U32 decrement() {
    if ( enableThreadSafePointers.load( std::memory_order_relaxed ) )
      return word_.fetch_sub( 1, std::memory_order_acq_rel ) - 1;
    U32 word = word_.load( std::memory_order_relaxed ) - 1;
    word_.store( word, std::memory_order_relaxed );
    return word;
  }

  U32 word() const { return word_.load( std::memory_order_acquire ); }
  void flagsIs( U32 flags ) { word_.fetch_or( flags, std::memory_order_acq_rel ); }

 private:
  std::atomic< U32 > word_{ 0 };
};

}  // namespace Kiv
