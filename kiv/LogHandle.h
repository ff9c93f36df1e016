// The agent's system log: messages that are declared once and raised without arguments.
//
//   Kiv::LogHandle MORVANE_CONFIG_CHANGE( "MORVANE_CONFIG_CHANGE", 6, "Configuration change ...",
//                                         "...", Kiv::NoActionRequired, 0.0, 1.0 );
//   MORVANE_CONFIG_CHANGE.raise();
//
// The platform supplies the sink: it decides whether a message may be logged now, maps the severity
// codes to its levels, gives the two numbers of a handle their meaning, and supplies the text of
// recommended actions that many messages share. Without a sink nothing is logged.
//
// Order of calls: handles are built when the library is loaded and live as long as it does; their
// texts must too.
//
// Locks: any thread may raise; a sink must cope with that.
#pragma once

#include "kiv/Export.h"
#include "kiv/Types.h"

namespace Kiv {

// Recommended actions whose text the platform supplies.
enum StandardLogAction : U32 {
  NoActionRequired,
  CallSupportIfPersists,
};

class LogHandle;

class KIV_API LogSink {
 public:
  virtual ~LogSink();
  // Whether the message may be logged now.
  virtual bool okToLog( const LogHandle & message ) = 0;
  virtual void log( const LogHandle & message ) = 0;
  virtual const char * actionText( StandardLogAction action ) const = 0;
};

// Sets the sink and returns the one before; null takes it away. The caller keeps the sink alive
// until it is replaced and no thread is in it.
KIV_API LogSink * logSinkIs( LogSink * sink );

class KIV_API LogHandle {
 public:
  constexpr LogHandle( const char * mnemonic, U32 severity, const char * format,
                       const char * explanation, const char * action, double first, double second )
      : mnemonic_( mnemonic ),
        severity_( severity ),
        format_( format ),
        explanation_( explanation ),
        action_( action ),
        parameters_{ first, second } {}
  constexpr LogHandle( const char * mnemonic, U32 severity, const char * format,
                       const char * explanation, StandardLogAction action, double first,
                       double second )
      : mnemonic_( mnemonic ),
        severity_( severity ),
        format_( format ),
        explanation_( explanation ),
        standardAction_( action ),
        parameters_{ first, second } {}
  LogHandle( const LogHandle & ) = delete;
  LogHandle & operator=( const LogHandle & ) = delete;

  const char * mnemonic() const { return mnemonic_; }
  U32 severity() const { return severity_; }       // the log facility's code
  const char * format() const { return format_; }  // one line; %s stands for an argument
  const char * explanation() const { return explanation_; }
  // The platform's text for a standard action, "" while there is no sink.
  const char * recommendedAction() const;
  // One of the two numbers that the log facility interprets; `index` is 0 or 1.
  double parameter( U32 index ) const { return parameters_[ index ]; }

  bool okToLog() const;
  // Logs without asking first.
  void log() const;
  // Logs if that is allowed now.
  void raise() const;

 private:
  const char * mnemonic_;
  U32 severity_;
  const char * format_;
  const char * explanation_;
  const char * action_ = nullptr;  // null: the standard one
  StandardLogAction standardAction_ = NoActionRequired;
  double parameters_[ 2 ];
};

}  // namespace Kiv
