#include "bench/HeapCount.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic< std::uint64_t > allocations{ 0 };
std::atomic< std::int64_t > bytes{ 0 };

void * allocate( std::size_t size ) {
  void * const block = std::malloc( size );
  if ( !block )
    throw std::bad_alloc();
  allocations.fetch_add( 1, std::memory_order_relaxed );
  bytes.fetch_add( static_cast< std::int64_t >( malloc_usable_size( block ) ),
                   std::memory_order_relaxed );
  return block;
}

void release( void * block ) noexcept {
  bytes.fetch_sub( static_cast< std::int64_t >( malloc_usable_size( block ) ),
                   std::memory_order_relaxed );
  std::free( block );
}

}  // namespace

void * operator new( std::size_t size ) {
  return allocate( size );
}
void * operator new[]( std::size_t size ) {
  return allocate( size );
}
void operator delete( void * block ) noexcept {
  release( block );
}
void operator delete[]( void * block ) noexcept {
  release( block );
}
void operator delete( void * block, std::size_t ) noexcept {
  release( block );
}
void operator delete[]( void * block, std::size_t ) noexcept {
  release( block );
}

namespace Bench {

HeapUse heapUse() {
  return { allocations.load(), bytes.load() };
}

}  // namespace Bench
