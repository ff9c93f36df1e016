// Reads the words of a line of a text file in their order, with their places for messages.
//
// Words are separated by spaces and tabs. Nothing is copied: a file of a million lines is read
// line by line. Every operation throws Platform::InputError for what it does not expect.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/InputError.h"

namespace Agent {

using namespace Kiv::Integers;

// The lines of a text, without LF or CR LF.
class TextLines {
 public:
  explicit TextLines( std::string_view text ) : rest_( text ) {}

  // False at the end of the text.
  bool next();
  U32 number() const { return number_; }  // from 1
  std::string_view line() const { return line_; }

 private:
  std::string_view rest_;
  std::string_view line_;
  U32 number_ = 0;
};

// Whether a word in quotes may have spaces. Its quotes are not part of it.
enum class Quotes { none, group };

class WordReader {
 public:
  WordReader( const std::string & file, U32 number, std::string_view line,
              Quotes quotes = Quotes::none );

  bool done() const { return !more_; }
  std::string_view peek() const { return next_; }                // empty at the end of the line
  std::string_view rest() const { return line_.substr( at_ ); }  // from the next word on
  // `what` names the word in messages.
  std::string_view next( const std::string & what );
  // Reads the next word if it is `word`, in either case.
  bool take( std::string_view word );
  // The next word, a decimal number.
  U32 number( const std::string & what, U32 max );

  Platform::Place place() const;  // of the word read last
  // At the word read last.
  [[noreturn]] void fail( const std::string & what ) const;
  // There is no such name of `what`: the names that there are.
  [[noreturn]] void failName( const std::string & what, std::string_view name,
                              std::vector< std::string_view > names ) const;
  // A number in the word read last.
  U32 numberIn( std::string_view digits, const std::string & what, U32 max ) const;

 private:
  void advance();

  const std::string * file_;
  U32 number_;
  std::string_view line_;
  Quotes quotes_;
  size_t end_ = 0;   // of next_
  size_t last_ = 0;  // start of the word read last
  size_t at_ = 0;    // start of next_
  bool more_ = false;
  bool open_ = false;  // next_ is in quotes that do not end
  std::string_view next_;
};

// The start of the next word from `at` on, and the end of the word at `at`; the size of the text:
// there is none.
size_t wordAt( std::string_view text, size_t at );
size_t wordEnd( std::string_view text, size_t at );

// In either case.
bool sameWord( std::string_view a, std::string_view b );
// Digits only, at least one.
bool isNumber( std::string_view word );

}  // namespace Agent
