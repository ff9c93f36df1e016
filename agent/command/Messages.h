// What the library reports while a command runs: its log, and its traces.
//
// Order of calls: one Messages for each command, before the first switch; from then to its end, log
// messages go to standard error or to syslog.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

namespace Agent {

struct MessageOptions {
  std::vector< std::string > traces;  // NAME[:LEVEL]
  std::string ring;                   // file; empty: none
  bool syslog = false;
};

void addMessageOptions( CLI::App & app, MessageOptions & options );

class Messages {
 public:
  // Throws UsageError for a trace that does not exist, OutputError for a file that cannot be
  // written.
  explicit Messages( const MessageOptions & options );
  Messages( const Messages & ) = delete;
  Messages & operator=( const Messages & ) = delete;
  ~Messages();

 private:
  class Log;
  std::unique_ptr< Log > log_;
};

}  // namespace Agent
