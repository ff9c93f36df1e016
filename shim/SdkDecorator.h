// A shim that forwards every operation to another one through a single hook.
//
// Recorders, fault injectors and counters derive from SdkDecorator and override only `around`; new
// operations need no change in them.
//
// Locks: those of the next shim.
#pragma once

#include <concepts>
#include <type_traits>

#include "shim/SdkShim.h"

namespace Shim {

// A call, for decorators.
struct SdkCallInfo {
  SdkOp op;
  U32 unit;
  // First group, entry, preselector or statistics id among the arguments; 0 if there is none.
  // Bits 24 and 25 of a group or entry id are its pipe, bit 26 is its copy.
  U32 id;
};

// The call, which `around` may make any number of times. On the caller's stack.
class SdkInvocation {
 public:
  template < class F >
  requires( !std::same_as< std::remove_cvref_t< F >, SdkInvocation > ) explicit SdkInvocation(
      F & call )
      : context_( &call ),
        invoke_( []( void * context ) { return ( *static_cast< F * >( context ) )(); } ) {}
  int operator()() const { return invoke_( context_ ); }

 private:
  void * context_;
  int ( *invoke_ )( void * );
};

namespace Internal {

inline U32 firstId() {
  return 0;
}
template < class First, class... Rest >
U32 firstId( const First & first, const Rest &... ) {
  if constexpr ( std::is_integral_v< First > )
    return static_cast< U32 >( first );
  else if constexpr ( std::is_same_v< First, bcm_field_group_config_t * > )
    return Fields::groupId( *first );
  else
    return 0;
}

}  // namespace Internal

class KIV_API SdkDecorator : public SdkShim {
 public:
  // `next` must outlive this object.
  explicit SdkDecorator( SdkShim & next ) : next_( next ) {}

  void sdkLock() override KIV_NO_THREAD_SAFETY_ANALYSIS { next_.sdkLock(); }
  void sdkUnlock() override KIV_NO_THREAD_SAFETY_ANALYSIS { next_.sdkUnlock(); }
  const char * sdkErrorText( int rc ) const override { return next_.sdkErrorText( rc ); }

#define SDK_OP( name, params, args )                                                       \
  int name( U32 unit SDK_UNPACK params ) override {                                        \
    auto call = [ & ] { return next_.name( unit SDK_UNPACK args ); };                      \
    return around( { SdkOp::name, unit, Internal::firstId args }, SdkInvocation( call ) ); \
  }
#define SDK_QUERY( name )                \
  bool name( U32 unit ) const override { \
    return next_.name( unit );           \
  }
#include "shim/SdkOperations.inc"

 protected:
  // Called for every operation; the default makes the call.
  virtual int around( const SdkCallInfo & info, const SdkInvocation & call ) {
    ( void )info;
    return call();
  }
  SdkShim & next() const {
    return next_;
  }

 private:
  SdkShim & next_;
};

}  // namespace Shim
