// The words of a command line of the shell.
//
// Words are separated by blanks; one in quotes, "..." or '...', may have blanks. A word that begins
// with # and what follows it is a comment. Rules and packets are taken as they stand, with the
// quotes that they have.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kiv/Types.h"

namespace Agent {

using namespace Kiv::Integers;

class ShellWords {
 public:
  // Refers to `line`. Throws ShellError for a quote that does not end, unless the line is only
  // typed in part.
  explicit ShellWords( std::string_view line, bool partial = false );

  bool done() const { return rest_.empty(); }
  // `what` names the word in messages. Throws ShellError if there is none.
  std::string next( const std::string & what );
  std::optional< std::string > nextIfAny();
  // Takes the next word if it is `word`.
  bool take( std::string_view word );
  // A number from 1 to `max`.
  U32 number( const std::string & what, U64 max );
  // Everything that is left, as it stands. Throws ShellError if that is nothing.
  std::string rest( const std::string & what );
  // Throws ShellError unless all words are taken.
  void finish() const;
  // The words that are left begin here.
  std::string_view left() const { return rest_; }

 private:
  void skipBlanks();

  std::string_view rest_;
};

}  // namespace Agent
