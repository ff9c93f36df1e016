#include "snaptrace/RingBuf.h"

#include <algorithm>
#include <cstring>

#include "kiv/Exception.h"

namespace Snaptrace {

RingBuf::RingBuf( U32 bytes )
    : bytes_( std::max( bytes, minBytes ) / headerSize * headerSize ),
      storage_( new char[ bytes_ ] ) {}

RingBuf::~RingBuf() = default;

U32 RingBuf::headerAt( U32 offset ) const {
  U32 header;
  std::memcpy( &header, &storage_[ offset ], headerSize );
  return header;
}

void RingBuf::headerIs( U32 offset, U32 header ) {
  std::memcpy( &storage_[ offset ], &header, headerSize );
}

// Bytes that a message takes; headers stay aligned, so that one always fits before the end.
U32 RingBuf::room( U32 size ) {
  return headerSize + ( size + headerSize - 1 ) / headerSize * headerSize;
}

U32 RingBuf::next( U32 offset ) const {
  offset += room( headerAt( offset ) );
  return offset == bytes_ || headerAt( offset ) == wrapMark ? 0 : offset;
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
      headerIs( end_, wrapMark );
    end_ = 0;
  }
  dropFrom( end_, end_ + needed );
  if ( count_ == 0 )
    oldest_ = end_;
  headerIs( end_, size );
  char * text = &storage_[ end_ + headerSize ];
  end_ += needed;
  return text;
}

void RingBuf::endMsg() {
  ++count_;
  lock_.unlock();
}

std::vector< std::string > RingBuf::lines() const {
  Kiv::LockGuard guard( lock_ );
  std::vector< std::string > lines;
  U32 offset = oldest_;
  for ( U32 i = 0; i < count_; ++i ) {
    lines.emplace_back( &storage_[ offset + headerSize ], headerAt( offset ) );
    if ( i + 1 < count_ )
      offset = next( offset );
  }
  return lines;
}

void RingBuf::clear() {
  Kiv::LockGuard guard( lock_ );
  count_ = oldest_ = end_ = 0;
}

}  // namespace Snaptrace
