#include "snaptrace/RingBuf.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <utility>

#include "kiv/Exception.h"

namespace Snaptrace {

namespace {

U64 now() {
  timespec time;
  clock_gettime( CLOCK_REALTIME, &time );
  return static_cast< U64 >( time.tv_sec ) * 1000000000 + static_cast< U64 >( time.tv_nsec );
}

}  // namespace

RingBuf::RingBuf( U32 bytes )
    : bytes_( std::max( bytes, minBytes ) / unitSize * unitSize ), storage_( new char[ bytes_ ] ) {}

RingBuf::~RingBuf() = default;

U32 RingBuf::sizeAt( U32 offset ) const {
  U32 size;
  std::memcpy( &size, &storage_[ offset ], sizeof size );
  return size;
}

void RingBuf::sizeIs( U32 offset, U32 size ) {
  std::memcpy( &storage_[ offset ], &size, sizeof size );
}

// Bytes that a message takes; offsets stay aligned, so that a mark always fits before the end.
U32 RingBuf::room( U32 size ) {
  return headerSize + ( size + unitSize - 1 ) / unitSize * unitSize;
}

U32 RingBuf::next( U32 offset ) const {
  offset += room( sizeAt( offset ) );
  return offset == bytes_ || sizeAt( offset ) == wrapMark ? 0 : offset;
}

// Forgets the oldest messages as long as they start in these bytes.
void RingBuf::dropFrom( U32 begin, U32 end ) {
  while ( count_ != 0 && oldest_ >= begin && oldest_ < end ) {
    --count_;
    oldest_ = count_ != 0 ? next( oldest_ ) : end_;
  }
}

char * RingBuf::startMsg( U32 size ) {
  if ( size > maxSize() )
    throw Kiv::RangeException( "trace message larger than a quarter of its ring" );
  lock_.lock();
  U32 needed = room( size );
  if ( needed > bytes_ - end_ ) {
    dropFrom( end_, bytes_ );
    if ( end_ != bytes_ )
      sizeIs( end_, wrapMark );
    end_ = 0;
  }
  dropFrom( end_, end_ + needed );
  if ( count_ == 0 )
    oldest_ = end_;
  sizeIs( end_, size );
  const U64 time = now();
  std::memcpy( &storage_[ end_ + unitSize ], &time, sizeof time );
  char * text = &storage_[ end_ + headerSize ];
  end_ += needed;
  return text;
}

void RingBuf::endMsg() {
  ++count_;
  lock_.unlock();
}

std::vector< Message > RingBuf::messages() const {
  Kiv::LockGuard guard( lock_ );
  std::vector< Message > messages;
  U32 offset = oldest_;
  for ( U32 i = 0; i < count_; ++i ) {
    Message & message = messages.emplace_back();
    std::memcpy( &message.time, &storage_[ offset + unitSize ], sizeof message.time );
    message.text.assign( &storage_[ offset + headerSize ], sizeAt( offset ) );
    if ( i + 1 < count_ )
      offset = next( offset );
  }
  return messages;
}

std::vector< std::string > RingBuf::lines() const {
  std::vector< std::string > lines;
  for ( Message & message : messages() )
    lines.push_back( std::move( message.text ) );
  return lines;
}

void RingBuf::clear() {
  Kiv::LockGuard guard( lock_ );
  count_ = oldest_ = end_ = 0;
}

}  // namespace Snaptrace
