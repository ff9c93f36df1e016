#include "kiv/LogHandle.h"

#include <atomic>

namespace Kiv {
namespace {

constinit std::atomic< LogSink * > currentLogSink{ nullptr };

LogSink * sink() {
  return currentLogSink.load( std::memory_order_acquire );
}

}  // namespace

LogSink::~LogSink() = default;

LogSink * logSinkIs( LogSink * sink ) {
  return currentLogSink.exchange( sink, std::memory_order_acq_rel );
}

const char * LogHandle::recommendedAction() const {
  if ( action_ )
    return action_;
  const LogSink * const words = sink();
  return words ? words->actionText( standardAction_ ) : "";
}

bool LogHandle::okToLog() const {
  LogSink * const facility = sink();
  return facility && facility->okToLog( *this );
}

void LogHandle::log() const {
  if ( LogSink * const facility = sink() )
    facility->log( *this );
}

void LogHandle::raise() const {
  if ( okToLog() )
    log();
}

}  // namespace Kiv
