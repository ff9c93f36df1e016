// A ring of trace messages in a fixed number of bytes; the oldest are overwritten.
//
//   char * room = ring.startMsg( size );
//   std::memcpy( room, text, size );
//   ring.endMsg();
//   ...
//   for( const Snaptrace::Message & message : ring.messages() ) { ... message.text ... }
//
// Invariants: each message is contiguous and has the time at which it was recorded. Recording
// allocates nothing. No message that is being written is ever read.
//
// Locks: one inside, held from startMsg to endMsg; any thread may record and read. Nothing else
// may be called between the two.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kiv/Export.h"
#include "kiv/Lock.h"
#include "kiv/ThreadAnnotations.h"
#include "kiv/Types.h"

namespace Snaptrace {

using Kiv::U32;
using Kiv::U64;

struct Message {
  U64 time;  // nanoseconds since 1970, UTC
  std::string text;
};

class KIV_API RingBuf {
 public:
  // Size in bytes, messages' headers of 12 bytes included; at least minBytes are taken.
  explicit RingBuf( U32 bytes );
  ~RingBuf();

  static constexpr U32 minBytes = 1024;

  // Room for a message of that many bytes. Throws Kiv::RangeException, nothing changed and no lock
  // held, when it is longer than maxSize().
  char * startMsg( U32 size ) KIV_ACQUIRE( lock_ );
  void endMsg() KIV_RELEASE( lock_ );

  U32 bytes() const { return bytes_; }
  // The longest message: a quarter of the ring.
  U32 maxSize() const { return bytes_ / 4; }

  // The messages that are kept now, oldest first, and their texts alone.
  std::vector< Message > messages() const;
  std::vector< std::string > lines() const;
  // Forgets all messages.
  void clear();

 private:
  static constexpr U32 unitSize = sizeof( U32 );               // offsets are multiples of it
  static constexpr U32 headerSize = unitSize + sizeof( U64 );  // size and time
  static constexpr U32 wrapMark =
      0xffffffff;  // in place of a size: the next message is at offset 0

  U32 sizeAt( U32 offset ) const KIV_REQUIRES( lock_ );
  void sizeIs( U32 offset, U32 size ) KIV_REQUIRES( lock_ );
  static U32 room( U32 size );
  U32 next( U32 offset ) const KIV_REQUIRES( lock_ );
  void dropFrom( U32 begin, U32 end ) KIV_REQUIRES( lock_ );

  mutable Kiv::Lock lock_;
  const U32 bytes_;
  std::unique_ptr< char[] > storage_;
  // Messages lie from oldest_ to end_, round the end of the storage when oldest_ >= end_.
  U32 oldest_ KIV_GUARDED_BY( lock_ ) = 0;
  U32 end_ KIV_GUARDED_BY( lock_ ) = 0;
  U32 count_ KIV_GUARDED_BY( lock_ ) = 0;
};

}  // namespace Snaptrace
