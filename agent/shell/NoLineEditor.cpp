// Without libedit the terminal itself edits the line; there is no history and no completion.
#include <cstdio>
#include <iostream>

#include "agent/shell/LineEditor.h"

namespace Agent {

class LineEditor::Impl {
 public:
  explicit Impl( const std::string & text ) : prompt( text ) {}

  const std::string prompt;
};

LineEditor::LineEditor( const std::string & prompt, const std::string &, const Complete & )
    : impl_( std::make_unique< Impl >( prompt ) ) {}
LineEditor::~LineEditor() = default;

std::optional< std::string > LineEditor::next() {
  std::fputs( impl_->prompt.c_str(), stdout );
  std::fflush( stdout );
  std::string line;
  if ( std::getline( std::cin, line ) )
    return line;
  std::fputs( "\n", stdout );
  return std::nullopt;
}

std::string historyFile() {
  return "";
}

}  // namespace Agent
