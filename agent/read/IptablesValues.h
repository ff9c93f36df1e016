// Reads the values of options of iptables and ip6tables. Each function throws
// Platform::InputError at the word that was read last.
#pragma once

#include <optional>
#include <utility>

#include "agent/read/MatchSets.h"
#include "agent/read/WordReader.h"

namespace Agent {

// The parts between separators, which may be empty.
std::vector< std::string_view > partsOf( std::string_view text, char separator );
// What precedes the first separator, and what follows it; the latter is empty without one.
std::pair< std::string_view, std::optional< std::string_view > > splitAt( std::string_view text,
                                                                          char separator );

FieldBits addressBits( const WordReader & words, bool ip6, std::string_view text );
// ADDRESS, ADDRESS/LENGTH or ADDRESS/MASK.
TernaryBits prefixIn( const WordReader & words, bool ip6, std::string_view text );
// PORT, LOW:HIGH, LOW: or :HIGH.
AnyRange portsIn( const WordReader & words, std::string_view text );
// The next word: up to 15 ports, of which a range counts as two.
std::vector< AnyRange > portList( WordReader & words );
// Names, ALL or NONE.
U8 flagList( const WordReader & words, std::string_view text );
// The next word.
TernaryBits dscpNumber( WordReader & words );

}  // namespace Agent
