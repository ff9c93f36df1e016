#include "kiv/LineBuffer.h"

#include <algorithm>
#include <charconv>

namespace Kiv {

namespace {

template < class T >
void appendNumber( LineBuffer & line, T number, int base ) {
  char digits[ 24 ];
  const auto end = std::to_chars( digits, digits + sizeof digits, number, base ).ptr;
  line.append( std::string_view( digits, static_cast< std::size_t >( end - digits ) ) );
}

}  // namespace

void LineBuffer::append( std::string_view text ) {
  U32 room = capacity - 1 - size_;
  auto length = static_cast< U32 >( std::min< std::size_t >( text.size(), room ) );
  std::copy_n( text.data(), length, text_ + size_ );
  size_ += length;
  text_[ size_ ] = '\0';
}

void LineBuffer::append( Hex number ) {
  appendNumber( *this, number.value, 16 );
}

void LineBuffer::appendSigned( S64 number ) {
  appendNumber( *this, number, 10 );
}

void LineBuffer::appendUnsigned( U64 number ) {
  appendNumber( *this, number, 10 );
}

}  // namespace Kiv
