// Owning references to PtrInterface objects: Ptr may be null, ValidPtr never is.
//
//   Kiv::Ptr< Counter > counter = Kiv::make< Counter >( "rx" );
//   Kiv::Ptr< const Kiv::Entity > seen = counter;     // converts to bases and to const
//   Kiv::ValidPtr< Counter > valid( counter );         // throws RangeException( "null ValidPtr" )
//
// Invariants: each non-null Ptr counts for one reference, to const objects too.
// Use a bare pointer for back-references that must own nothing.
#pragma once

#include <concepts>
#include <cstddef>
#include <utility>

#include "kiv/Export.h"
#include "kiv/PtrInterface.h"

namespace Kiv {

template < class T >
class ValidPtr;

template < class T >
class Ptr {
 public:
  using Element = T;

  Ptr() = default;
  Ptr( std::nullptr_t ) {}
  // Adds a reference; null makes a null Ptr.
  Ptr( T * object ) : rawPtr_( object ) { add(); }
  Ptr( const Ptr & other ) noexcept : rawPtr_( other.rawPtr_ ) { add(); }
  Ptr( Ptr && other ) noexcept : rawPtr_( std::exchange( other.rawPtr_, nullptr ) ) {}
  template < class U >
  requires std::convertible_to< U *, T * > Ptr( const Ptr< U > & other )
  noexcept : rawPtr_( other.rawPtr_ ) { add(); }
  template < class U >
  requires std::convertible_to< U *, T * > Ptr( Ptr< U > && other )
  noexcept : rawPtr_( std::exchange( other.rawPtr_, nullptr ) ) {}
  template < class U >
  requires std::convertible_to< U *, T * > Ptr( const ValidPtr< U > & other )
  noexcept : Ptr( other.ptr() ) {}
  ~Ptr() { drop( rawPtr_ ); }

  Ptr & operator=( Ptr other ) noexcept {
    std::swap( rawPtr_, other.rawPtr_ );
    return *this;
  }

  T * get() const { return rawPtr_; }
  T & operator*() const { return *rawPtr_; }
  T * operator->() const { return rawPtr_; }
  explicit operator bool() const { return rawPtr_ != nullptr; }

  friend bool operator==( const Ptr & a, std::nullptr_t ) { return a.rawPtr_ == nullptr; }

  // For identity comparison.
  T * rawPtr_ = nullptr;

 private:
  void add() const {
    if ( rawPtr_ )
      static_cast< const PtrInterface * >( rawPtr_ )->addReference();
  }
  static void drop( const PtrInterface * object ) {
    if ( object )
      object->dropReference();
  }
};

template < class T, class U >
bool operator==( const Ptr< T > & a, const Ptr< U > & b ) {
  return a.rawPtr_ == b.rawPtr_;
}

// Throws RangeException( "null ValidPtr" ).
[[noreturn]] KIV_API void throwNullValidPtr();

template < class T >
class ValidPtr {
 public:
  ValidPtr( T * object ) : ValidPtr( Ptr< T >( object ) ) {}
  template < class U >
  requires std::convertible_to< U *, T * > ValidPtr( Ptr< U > object )
      : ptr_( std::move( object ) ) {
    if ( !ptr_ )
      throwNullValidPtr();
  }
  template < class U >
  requires std::convertible_to< U *, T * > ValidPtr( const ValidPtr< U > & other )
      : ptr_( other.ptr() ) {}
  // Copies only: a moved-from ValidPtr would be null.
  ValidPtr( const ValidPtr & ) noexcept = default;
  ValidPtr & operator=( const ValidPtr & ) noexcept = default;
  ~ValidPtr() = default;

  const Ptr< T > & ptr() const { return ptr_; }
  T * get() const { return ptr_.get(); }
  T & operator*() const { return *ptr_; }
  T * operator->() const { return ptr_.get(); }

 private:
  Ptr< T > ptr_;
};

template < class T, class U >
bool operator==( const ValidPtr< T > & a, const ValidPtr< U > & b ) {
  return a.get() == b.get();
}
template < class T, class U >
bool operator==( const ValidPtr< T > & a, const Ptr< U > & b ) {
  return a.get() == b.get();
}

// Builds an object on the heap and returns its first reference.
template < class T, class... A >
Ptr< T > make( A &&... args ) {
  return Ptr< T >( new T( std::forward< A >( args )... ) );
}

}  // namespace Kiv
