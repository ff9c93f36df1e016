// Takes one line of a text file apart, with errors that say where it stands.
//
// Words are what spaces and tabs separate. Every operation throws Platform::InputError for a word
// that is not what it must be.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kiv/Types.h"

namespace Agent {

using namespace Kiv::Integers;

// One line that is not blank.
struct TextLine {
  U32 number;             // from 1
  std::string_view text;  // without the line end, which may be LF or CR LF
  std::vector< std::string_view > words;
};

// The lines of a text, blank ones left out. The views are into `text`.
std::vector< TextLine > splitLines( std::string_view text );

class LineReader {
 public:
  LineReader( const std::string & file, const TextLine & line ) : file_( file ), line_( line ) {}

  [[noreturn]] void fail( const std::string & what ) const;

  // Decimal digits, or "0x" and hexadecimal digits; `what` names the value in messages.
  U32 decimal( std::string_view word, U32 max, const std::string & what ) const;
  U32 hex( std::string_view word, U32 max, const std::string & what ) const;
  // Four decimal bytes with dots, most significant first.
  U32 address( std::string_view word, const std::string & what ) const;
  // What stands before and after the one `separator` in `word`.
  std::pair< std::string_view, std::string_view > split( std::string_view word, char separator,
                                                         const std::string & what ) const;

 private:
  U32 digits( std::string_view word, int base, U32 max, const std::string & what ) const;

  const std::string & file_;
  const TextLine & line_;
};

}  // namespace Agent
