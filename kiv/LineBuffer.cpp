#include "kiv/LineBuffer.h"

#include <algorithm>

namespace Kiv {

void LineBuffer::append( std::string_view text ) {
  U32 room = capacity - 1 - size_;
  auto length = static_cast< U32 >( std::min< std::size_t >( text.size(), room ) );
  std::copy_n( text.data(), length, text_ + size_ );
  size_ += length;
  text_[ size_ ] = '\0';
}

}  // namespace Kiv
