// The arguments of one call of any operation: kept, seen as leaves, and passed to an SDK.
//
// Everything follows from shim/SdkOperations.inc. A new operation needs a line here (Arguments.cpp)
// only if it creates or destroys objects.
#pragma once

#include <memory>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "sdkrecord/Fields.h"
#include "sdktext/CallText.h"
#include "shim/SdkShim.h"

namespace SdkRecord {

using SdkText::Way;

class Arguments;

// What is known of an operation.
struct Operation {
  Shim::SdkOp op;
  std::string_view name;
  std::vector< std::string_view > arguments;  // names
  std::unique_ptr< Arguments > ( *make )();   // of arguments, all zero
  IdKind creates = IdKind::none;
  IdKind destroys = IdKind::none;

  IdKind idOf( size_t argument ) const;
};
const Operation & operationOf( Shim::SdkOp op );
// Null: no such operation.
const Operation * operationNamed( std::string_view name );

// The leaves of one call, those that the SDK reads apart from those that it writes. An argument
// that it reads and writes is in both.
struct CallLeaves {
  std::vector< Leaf > in, out;
};

class Arguments {
 public:
  virtual ~Arguments() = default;
  virtual std::unique_ptr< Arguments > copy() const = 0;
  // They refer to this object.
  virtual CallLeaves leaves( const Operation & operation ) = 0;
  virtual int call( Shim::SdkShim & sdk, U32 unit ) = 0;
  // Whether the lists have the lengths that the call's counts say.
  virtual bool listsFit( const Operation & operation ) = 0;
};

namespace Internal {

// Elements of a list whose count is wrong for any SDK are not read.
inline constexpr S64 listMax = 256;
inline size_t listSize( S64 count ) {
  return count < 0 || count > listMax ? 0 : static_cast< size_t >( count );
}

// A value
template < class P >
struct Held {
  static constexpr bool pointer = false, scalar = true;
  P value{};

  void take( P given, Way, size_t ) { value = given; }
  P pass() { return value; }
  P through( P given ) { return given; }
  void taken( P, Way ) {}
  void collected() {}
  void addTo( Leaves leaves ) { leaves.add( value ); }
};

// A record or a number of the caller
template < class T >
struct Held< T * > {
  static constexpr bool pointer = true, scalar = std::is_integral_v< T >;
  bool null = false;
  T value{};

  void take( T * given, Way way, size_t ) {
    null = given == nullptr;
    if ( !null && way != Way::out )
      value = *given;
  }
  T * pass() { return null ? nullptr : &value; }
  T * through( T * given ) { return given; }
  void taken( T * given, Way way ) {
    if ( null || way == Way::in )
      return;
    value = *given;
    clearUnwritten( value );
  }
  void collected() { clearUnwritten( value ); }
  void addTo( Leaves leaves ) { leaves.add( value ); }
};

// A list, whose length another argument has
template < class T >
struct Held< const T * > {
  static constexpr bool pointer = false, scalar = false, elements = true;
  using Element = std::conditional_t< sizeof( T ) == 1, U8, int >;
  bool null = false;
  std::vector< Element > value;

  void take( const T * given, Way, size_t count ) {
    null = given == nullptr;
    if ( !null )
      for ( size_t i = 0; i < count; ++i )
        value.push_back( static_cast< Element >( given[ i ] ) );
  }
  const T * pass() { return null ? nullptr : reinterpret_cast< const T * >( value.data() ); }
  const T * through( const T * given ) { return given; }
  void taken( const T *, Way ) {}
  void collected() {}
  void addTo( Leaves leaves ) { leaves.add( value ); }
};

// Text that the SDK appends
template <>
struct Held< std::ostream * > {
  static constexpr bool pointer = true, scalar = true;
  bool null = false;
  std::string value;
  std::shared_ptr< std::ostringstream > stream;

  void take( std::ostream * given, Way, size_t ) { null = given == nullptr; }
  std::ostream * pass() {
    stream = std::make_shared< std::ostringstream >();
    return null ? nullptr : stream.get();
  }
  std::ostream * through( std::ostream * ) { return pass(); }
  void taken( std::ostream * given, Way ) {
    collected();
    if ( !null )
      *given << value;
  }
  void collected() { value = stream->str(); }
  void addTo( Leaves leaves ) { leaves.add( value ); }
};

}  // namespace Internal

template < class... P >
class ArgumentsOf : public Arguments {
 public:
  using Method = int ( Shim::SdkShim::* )( U32, P... );

  explicit ArgumentsOf( Method method ) : method_( method ) {}

  std::unique_ptr< Arguments > copy() const override {
    return std::make_unique< ArgumentsOf >( *this );
  }
  CallLeaves leaves( const Operation & operation ) override {
    CallLeaves leaves;
    size_t i = 0;
    each( [ & ]( auto & held ) { add( operation, held, i++, leaves ); } );
    return leaves;
  }
  int call( Shim::SdkShim & sdk, U32 unit ) override {
    const int rc = std::apply(
        [ & ]( auto &... held ) { return ( sdk.*method_ )( unit, held.pass()... ); }, held_ );
    each( []( auto & held ) { held.collected(); } );
    return rc;
  }
  bool listsFit( const Operation & operation ) override {
    const size_t count = listCount( operation );
    bool fit = true;
    each( [ & ]( auto & held ) {
      if constexpr ( requires { held.elements; } )
        fit = fit && ( held.null || held.value.size() == count );
    } );
    return fit;
  }

  // A caller's arguments: before its call, the call itself, and after it.
  void take( const Operation & operation, P... given ) {
    const std::tuple< P... > values( given... );
    const auto takeThe = [ & ]( bool lists, size_t count ) {
      each(
          [ & ]( auto & held, auto value ) {
            if ( requires { held.elements; } == lists )
              held.take( value, wayOf( operation, held ), count );
          },
          values );
    };
    takeThe( false, 0 );
    takeThe( true, listCount( operation ) );
  }
  int callThrough( Shim::SdkShim & sdk, U32 unit, P... given ) {
    return std::apply(
        [ & ]( auto &... held ) { return ( sdk.*method_ )( unit, held.through( given )... ); },
        held_ );
  }
  void taken( const Operation & operation, P... given ) {
    each( [ & ]( auto & held, auto value ) { held.taken( value, wayOf( operation, held ) ); },
          std::tuple< P... >( given... ) );
  }

 private:
  template < class F >
  void each( const F & f ) {
    std::apply( [ & ]( auto &... held ) { ( f( held ), ... ); }, held_ );
  }
  template < class F >
  void each( const F & f, const std::tuple< P... > & values ) {
    [ & ]< size_t... I >( std::index_sequence< I... > ) {
      ( f( std::get< I >( held_ ), std::get< I >( values ) ), ... );
    }
    ( std::index_sequence_for< P... >() );
  }
  template < class H >
  static Way wayOf( const Operation & operation, const H & ) {
    return SdkText::wayOf( operation.op, H::pointer, H::scalar );
  }
  template < class H >
  static void add( const Operation & operation, H & held, size_t i, CallLeaves & leaves ) {
    const Way way = wayOf( operation, held );
    const std::string path( operation.arguments[ i ] );
    const IdKind id = operation.idOf( i );
    if constexpr ( requires { held.null; } )
      Leaves( leaves.in, path + ".null", IdKind::none, true ).add( held.null );
    if ( way != Way::out )
      held.addTo( Leaves( leaves.in, path, id ) );
    if ( way != Way::in )
      held.addTo( Leaves( leaves.out, path, id ) );
  }
  // The argument that counts the elements of the call's lists.
  size_t listCount( const Operation & operation ) {
    S64 count = 0;
    size_t i = 0;
    each( [ & ]( auto & held ) {
      const std::string_view name = operation.arguments[ i++ ];
      if constexpr ( std::is_integral_v< std::remove_cvref_t< decltype( held.value ) > > )
        if ( name == "nstat" || name == "length" )
          count = static_cast< S64 >( held.value );
    } );
    return Internal::listSize( count );
  }

  Method method_;
  std::tuple< Internal::Held< P >... > held_;
};

template < class... P >
std::unique_ptr< ArgumentsOf< P... > > argumentsOf( int ( Shim::SdkShim::*method )( U32, P... ) ) {
  return std::make_unique< ArgumentsOf< P... > >( method );
}

}  // namespace SdkRecord
