// Parses one line of a text file, with file and line in errors.
//
// Words are separated by spaces and tabs. Every operation throws Platform::InputError for a
// malformed word.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "agent/read/WordReader.h"

namespace Agent {

using namespace Kiv::Integers;

// A non-blank line.
struct TextLine {
  U32 number;             // from 1
  std::string_view text;  // without LF or CR LF
  std::vector< std::string_view > words;
};

// The non-blank lines, one at a time. The views refer to `text`.
class WordLines {
 public:
  explicit WordLines( std::string_view text ) : lines_( text ) {}

  // False at the end of the text.
  bool next();
  const TextLine & line() const { return line_; }

 private:
  TextLines lines_;
  TextLine line_;
};

class LineReader {
 public:
  LineReader( const std::string & file, const TextLine & line ) : file_( file ), line_( line ) {}

  // At the first word of the line, or at one of its words.
  [[noreturn]] void fail( const std::string & what ) const;
  [[noreturn]] void fail( std::string_view word, const std::string & what ) const;

  // `what` names the value in messages. Hexadecimal numbers start with "0x".
  U32 decimal( std::string_view word, U32 max, const std::string & what ) const;
  U32 hex( std::string_view word, U32 max, const std::string & what ) const;
  // Dotted decimal.
  U32 address( std::string_view word, const std::string & what ) const;
  // Parts before and after the only `separator` in `word`.
  std::pair< std::string_view, std::string_view > split( std::string_view word, char separator,
                                                         const std::string & what ) const;

 private:
  U32 digits( std::string_view word, int base, U32 max, const std::string & what ) const;

  const std::string & file_;
  const TextLine & line_;
};

}  // namespace Agent
