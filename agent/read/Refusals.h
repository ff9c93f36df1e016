// The rules of a file that its reader refuses.
//
// A reader never drops a match field that it does not know: that would widen the rule. It refuses
// the rule, and reads on, so that one run lists all that is wrong:
//
//   for each rule of the text:
//     refusals.guard( acl.name, name, [ & ] { acl.rules.push_back( readRule( ... ) ); } );
//
// Where readRule throws Platform::InputError with the place of the value. What concerns the file as
// a whole (not JSON, truncated, an unknown format) is thrown outside of guard().
#pragma once

#include <limits>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/InputError.h"

namespace Agent {

using namespace Kiv::Integers;

class Refusals {
 public:
  // Listed one by one; later ones are counted.
  static constexpr size_t listed = 20;

  // Reading stops after `most` refusals.
  explicit Refusals( std::string file, U64 most = std::numeric_limits< U64 >::max() )
      : file_( std::move( file ) ), most_( most ) {}

  // "FILE:LINE:COLUMN: LIST, RULE: WHAT". Without a rule the list as a whole is refused. Throws
  // Platform::FileError if reading stops here.
  void add( Platform::Place place, const std::string & list, const std::string & rule,
            const std::string & what );

  // Calls `read`, and refuses the rule if that throws Platform::InputError. True: it did not.
  // `rule` is a name, or a function that makes it. Platform::FileError passes through.
  template < class Rule, class F >
  bool guard( const std::string & list, const Rule & rule, F && read ) {
    try {
      read();
      return true;
    } catch ( const Platform::FileError & ) {
      throw;
    } catch ( const Platform::InputError & error ) {
      if constexpr ( std::is_invocable_v< Rule > )
        add( error.place(), list, rule(), error.reason() );
      else
        add( error.place(), list, rule, error.reason() );
      return false;
    }
  }

  // Calls `read`, and returns where reading stops.
  template < class F >
  void untilStopped( F && read ) const {
    try {
      read();
    } catch ( const Platform::FileError & ) {
      if ( !stopped() )
        throw;
    }
  }

  const std::string & file() const { return file_; }
  U64 count() const { return count_; }
  bool hasRulesOf( const std::string & list ) const { return lists_.contains( list ); }
  bool stopped() const { return count_ >= most_; }
  // One for each refusal, the last one for those that are not listed.
  std::vector< std::string > lines() const;

 private:
  std::string file_;
  U64 most_;
  std::vector< std::string > lines_;
  std::set< std::string > lists_;  // with refused rules
  U64 count_ = 0;
};

// Thrown where refused rules end the program.
class RefusedRules : public std::runtime_error {
 public:
  explicit RefusedRules( std::vector< std::string > lines )
      : std::runtime_error( "rules are refused" ), lines_( std::move( lines ) ) {}

  const std::vector< std::string > & lines() const { return lines_; }

 private:
  std::vector< std::string > lines_;
};

}  // namespace Agent
