// A binding with one fault: one operation that does something else.
#pragma once

#include <array>
#include <functional>

#include "shim/SdkDecorator.h"

namespace SdkCheckTest {

using namespace Kiv::Integers;
using Shim::SdkOp;

// A call of the faulty operation.
struct Call {
  std::array< void *, 6 > args;    // addresses of the arguments after the unit
  std::function< int() > proceed;  // makes it
  Shim::SdkShim & sdk;
  U32 count;  // calls of the operation so far, without this one

  template < class T >
  T & arg( size_t index ) const {
    return *static_cast< T * >( args[ index ] );
  }
  U32 & id( size_t index = 0 ) const { return arg< U32 >( index ); }
};

using Effect = std::function< int( Call & ) >;

class FaultySdk : public Shim::SdkDecorator {
 public:
  FaultySdk( Shim::SdkShim & next, SdkOp op, Effect effect )
      : SdkDecorator( next ), op_( op ), effect_( std::move( effect ) ) {}

#define SDK_OP( name, params, args )                                                          \
  int name( U32 unit SDK_UNPACK params ) override {                                           \
    return make(                                                                              \
        SdkOp::name, [ & ] { return next().name( unit SDK_UNPACK args ); }, addresses args ); \
  }
#include "shim/SdkOperations.inc"

 private:
  template < class... Args >
  static std::array< void *, 6 > addresses( Args &... args ) {
    return { const_cast< void * >( static_cast< const void * >( &args ) )... };
  }
  int make( SdkOp op, const std::function< int() > & proceed, std::array< void *, 6 > args ) {
    if ( op != op_ )
      return proceed();
    Call call{ args, proceed, next(), calls_++ };
    return effect_( call );
  }

  SdkOp op_;
  Effect effect_;
  U32 calls_ = 0;
};

}  // namespace SdkCheckTest
