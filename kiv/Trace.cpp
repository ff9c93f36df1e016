#include "kiv/Trace.h"

#include <cstdio>
#include <mutex>
#include <utility>

#include "kiv/Exception.h"

namespace Kiv {
namespace {

constinit std::atomic< TraceSink * > currentTraceSink{ nullptr };

// Usable before any constructor has run: other libraries register their handles in any order.
constinit std::mutex registrationsMutex;
constinit TraceRegistration * registrations = nullptr;

}  // namespace

constinit std::atomic< U32 > tracesOn{ 0 };

TraceSink::~TraceSink() = default;

TraceSink * traceSinkIs( TraceSink * sink ) {
  return currentTraceSink.exchange( sink, std::memory_order_acq_rel );
}

void traceLine( const TraceHandle & handle, U32 level, std::string_view text ) {
  if ( TraceSink * sink = currentTraceSink.load( std::memory_order_acquire ) ) {
    sink->line( handle, level, text );
    return;
  }
  std::fprintf( stderr, "%.*s\n", static_cast< int >( text.size() ), text.data() );
}

void TraceHandle::levelIs( U32 level, bool enabled ) {
  if ( level >= levels )
    throw RangeException( "trace level above 9" );
  const U32 bit = 1u << level;
  const U32 before = enabled ? enabled_.fetch_or( bit, std::memory_order_relaxed )
                             : enabled_.fetch_and( ~bit, std::memory_order_relaxed );
  if ( ( ( before & bit ) != 0 ) != enabled )
    tracesOn.fetch_add( enabled ? 1U : ~0U, std::memory_order_relaxed );
}

TraceRegistration::TraceRegistration( TraceHandle & handle ) : handle_( handle ) {
  const std::scoped_lock lock( registrationsMutex );
  next_ = std::exchange( registrations, this );
}

TraceRegistration::~TraceRegistration() {
  const std::scoped_lock lock( registrationsMutex );
  TraceRegistration ** link = &registrations;
  while ( *link != this )
    link = &( *link )->next_;
  *link = next_;
}

std::vector< TraceHandle * > traceHandles() {
  const std::scoped_lock lock( registrationsMutex );
  std::vector< TraceHandle * > handles;
  for ( const TraceRegistration * i = registrations; i; i = i->next_ )
    handles.push_back( &i->handle_ );
  return handles;
}

TraceHandle * traceHandle( std::string_view name ) {
  for ( TraceHandle * handle : traceHandles() )
    if ( name == handle->name() )
      return handle;
  return nullptr;
}

TraceHelper::~TraceHelper() {
  if ( handle_ )
    traceLine( *handle_, level_, line_.view() );
}

}  // namespace Kiv
