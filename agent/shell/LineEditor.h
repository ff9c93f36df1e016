// Lines that a person types at a terminal: editing, history, completion.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "agent/shell/ShellCompletion.h"

namespace Agent {

class LineEditor {
 public:
  // `complete`: what can be typed after a text. The history is read from the file, and written to
  // it at the end; empty: it is not kept.
  using Complete = std::function< Completions( std::string_view ) >;
  LineEditor( const std::string & prompt, const std::string & historyFile,
              const Complete & complete );
  LineEditor( const LineEditor & ) = delete;
  LineEditor & operator=( const LineEditor & ) = delete;
  ~LineEditor();

  // Empty at the end of the input. A line that is dropped (Ctrl-C) is an empty one.
  std::optional< std::string > next();

 private:
  class Impl;
  std::unique_ptr< Impl > impl_;
};

// $XDG_STATE_HOME/morvane-tcam/history, or in ~/.local/state; creates the folder. Empty: there is
// no such place.
std::string historyFile();

}  // namespace Agent
