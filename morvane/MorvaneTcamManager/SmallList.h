// A list of plain records that needs no heap for its first N members. Internal.
#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>
#include <vector>

#include "kiv/Types.h"

namespace Morvane {

using namespace Kiv::Integers;

template < class T, U32 N >
class SmallList {
  static_assert( std::is_trivially_copyable_v< T > && std::is_trivially_destructible_v< T > );

 public:
  // User-provided, so that the storage stays uninitialised.
  SmallList() {}
  SmallList( const SmallList & ) = delete;
  SmallList & operator=( const SmallList & ) = delete;

  U32 size() const { return size_; }
  bool empty() const { return size_ == 0; }
  void clear() { size_ = 0; }
  void shrink( U32 size ) { size_ = size; }

  // Beyond the first N may throw std::bad_alloc, leaving the list unchanged.
  void push( const T & member ) {
    if ( size_ < N )
      std::construct_at( inlineAt( size_ ), member );
    else
      pushMore( member );
    ++size_;
  }

  T & operator[]( U32 index ) { return index < N ? *inlineAt( index ) : more_[ index - N ]; }
  const T & operator[]( U32 index ) const { return const_cast< SmallList & >( *this )[ index ]; }

 private:
  T * inlineAt( U32 index ) { return reinterpret_cast< T * >( room_ ) + index; }
  [[gnu::noinline]] void pushMore( const T & member ) {
    more_.resize( size_ - N );
    more_.push_back( member );
  }

  alignas( T ) std::byte room_[ N * sizeof( T ) ];
  std::vector< T > more_;
  U32 size_ = 0;
};

}  // namespace Morvane
