// The shell: commands, line by line, on a switch that is kept alive.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "agent/shell/LiveSwitch.h"
#include "agent/shell/ShellWords.h"

namespace Agent {

// What can stand at a place of a command line, for completion.
enum class ShellWord { none, file, list, view, counters, rule, packet, verb, before };

class Shell {
 public:
  // Refers to `live`.
  explicit Shell( LiveSwitch & live ) : live_( live ) {}

  // Runs one line; output goes to standard output. Returns what is wrong, in one line, if it cannot
  // be done.
  std::optional< std::string > run( const std::string & line );
  // After `quit`.
  bool ended() const { return ended_; }

  struct Verb {
    const char * name;  // one or two words
    const char * arguments;
    const char * what;
    std::vector< ShellWord > words;  // the last one stands for all that follow
    void ( Shell::*run )( ShellWords & words );
  };
  static std::span< const Verb > verbs();
  // Takes its words from the line; null: none begins it.
  static const Verb * verbOf( ShellWords & words );

  const LiveSwitch & live() const { return live_; }

 private:
  static const Verb verbs_[];

  void load( ShellWords & words );
  void lists( ShellWords & words );
  void listShow( ShellWords & words );
  void listAdd( ShellWords & words );
  void listRemove( ShellWords & words );
  void ruleAdd( ShellWords & words );
  void ruleRemove( ShellWords & words );
  void undo( ShellWords & words );
  void send( ShellWords & words );
  void explain( ShellWords & words );
  void show( ShellWords & words );
  void map( ShellWords & words );
  void cost( ShellWords & words );
  void fit( ShellWords & words );
  void inspect( ShellWords & words );
  void countersClear( ShellWords & words );
  void verify( ShellWords & words );
  void help( ShellWords & words );
  void quit( ShellWords & words );

  void sendPackets( const std::vector< Packet > & packets );
  void sendOne( const std::string & text );
  std::string ruleCounts( const RuleIndex & index );

  LiveSwitch & live_;
  bool ended_ = false;
};

// The views of `show`, and what `counters clear` takes.
std::span< const char * const > shellViews();
std::span< const char * const > shellCounters();

}  // namespace Agent
