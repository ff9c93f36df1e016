#include "kiv/Trace.h"

#include <cstdio>

#include "kiv/Exception.h"

namespace Kiv {
namespace {

constinit std::atomic< TraceSink * > currentTraceSink{ nullptr };

}  // namespace

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
  U32 bit = 1u << level;
  if ( enabled )
    enabled_.fetch_or( bit, std::memory_order_relaxed );
  else
    enabled_.fetch_and( ~bit, std::memory_order_relaxed );
}

TraceHelper::~TraceHelper() {
  if ( handle_ )
    traceLine( *handle_, level_, line_.view() );
}

}  // namespace Kiv
