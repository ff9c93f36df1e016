#include "agent/command/Messages.h"

#include <fmt/format.h>
#include <syslog.h>

#include <charconv>

#include "agent/command/UsageError.h"
#include "agent/report/OutputFile.h"
#include "agent/text/Suggestion.h"
#include "kiv/Exception.h"
#include "kiv/LogHandle.h"
#include "kiv/Trace.h"
#include "snaptrace/BcmFpCmd.h"

namespace Agent {

namespace {

using namespace Kiv::Integers;

std::vector< std::string > traceNames() {
  std::vector< std::string > names;
  for ( const Kiv::TraceHandle * handle : Kiv::traceHandles() )
    names.emplace_back( handle->name() );
  return names;
}

[[noreturn]] void refuseTrace( const std::string & trace, const std::string & why ) {
  throw UsageError( fmt::format( "--trace {}: {}", trace, why ) );
}

void enableTrace( const std::string & trace ) {
  const size_t colon = trace.find( ':' );
  const std::string name = trace.substr( 0, colon );
  Kiv::TraceHandle * const handle = Kiv::traceHandle( name );
  if ( handle == nullptr ) {
    const std::vector< std::string > names = traceNames();
    refuseTrace( trace, fmt::format( "there is no trace \"{}\"; there are {}{}", name,
                                     fmt::join( names, ", " ), suggestion( name, names ) ) );
  }
  U32 last = Kiv::TraceHandle::levels - 1;
  if ( colon != std::string::npos ) {
    const char * const begin = trace.data() + colon + 1;
    const char * const end = trace.data() + trace.size();
    const auto [ stop, error ] = std::from_chars( begin, end, last );
    if ( error != std::errc() || stop != end || last >= Kiv::TraceHandle::levels )
      refuseTrace( trace,
                   fmt::format( "the level must be 0 to {}", Kiv::TraceHandle::levels - 1 ) );
  }
  for ( U32 level = 0; level <= last; ++level )
    handle->levelIs( level, true );
}

constexpr const char * severities[] = { "emergency", "alert",  "critical",    "error",
                                        "warning",   "notice", "information", "debug" };

// The handles' codes are those of syslog.
U32 severityOf( const Kiv::LogHandle & message ) {
  return message.severity() < std::size( severities ) ? message.severity() : LOG_DEBUG;
}

}  // namespace

class Messages::Log : public Kiv::LogSink {
 public:
  explicit Log( bool syslog ) : syslog_( syslog ) {
    if ( syslog_ )
      openlog( "morvane-tcam", LOG_PID, LOG_USER );
    Kiv::logSinkIs( this );
  }
  ~Log() override {
    Kiv::logSinkIs( nullptr );
    if ( syslog_ )
      closelog();
  }

  bool okToLog( const Kiv::LogHandle & ) override { return true; }
  void log( const Kiv::LogHandle & message ) override {
    const U32 severity = severityOf( message );
    const std::string text = fmt::format( "{}: {}. {}", message.mnemonic(), message.format(),
                                          message.recommendedAction() );
    if ( syslog_ )
      ::syslog( static_cast< int >( severity ), "%s", text.c_str() );
    else
      printError( fmt::format( "log, {}: {}", severities[ severity ], text ) );
  }
  const char * actionText( Kiv::StandardLogAction action ) const override {
    return action == Kiv::NoActionRequired ? "No action is required."
                                           : "If it happens again, contact your support.";
  }

 private:
  const bool syslog_;
};

void addMessageOptions( CLI::App & app, MessageOptions & options ) {
  app.add_option( "--trace", options.traces,
                  fmt::format( "Write a trace of the library to standard error: {}, with levels",
                               fmt::join( traceNames(), " or " ) ) +
                      " from 0 to LEVEL (default: all, 9); repeatable" )
      ->type_name( "NAME[:LEVEL]" )
      ->take_all()
      ->allow_extra_args( false );
  app.add_option(
         "--trace-ring", options.ring,
         "Add the messages that an agent keeps in its ring (commands to the chip, and what "
         "the library decides) to a file, each at once" )
      ->type_name( "FILE" );
  app.add_flag( "--syslog", options.syslog,
                "Send the library's log messages to syslog, not to standard error" );
}

Messages::Messages( const MessageOptions & options ) {
  for ( const std::string & trace : options.traces )
    enableTrace( trace );
  if ( !options.ring.empty() )
    try {
      Snaptrace::defaultSnaptraceHandle.mtTraceFileIs(
          std::make_unique< Snaptrace::MtTraceFile >( options.ring.c_str() ) );
      bcmFpCmd.enabledIs( true );
    } catch ( const Kiv::ErrnoException & error ) {
      throw OutputError( error.what() );
    }
  log_ = std::make_unique< Log >( options.syslog );
}

Messages::~Messages() {
  for ( Kiv::TraceHandle * handle : Kiv::traceHandles() )
    for ( U32 level = 0; level < Kiv::TraceHandle::levels; ++level )
      handle->levelIs( level, false );
  bcmFpCmd.enabledIs( false );
  Snaptrace::defaultSnaptraceHandle.enabledIs( false );
  Snaptrace::defaultSnaptraceHandle.mtTraceFileIs( nullptr );
}

}  // namespace Agent
