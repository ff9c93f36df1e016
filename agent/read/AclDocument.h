// What a file of access lists holds.
#pragma once

#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "agent/acl/AclRule.h"
#include "agent/read/Refusals.h"
#include "platform/JsonTree.h"

namespace Agent {

// How long a list can be. A rule takes at least one entry.
struct RuleBound {
  U64 rules = std::numeric_limits< U64 >::max();
  std::string platform;  // that has the bound

  [[noreturn]] void fail( const std::string & file, const std::string & list,
                          Platform::Place place ) const;
};

// What readers assume and accept.
struct ReaderOptions {
  bool assumeEstablished = false;  // TCP packets with ACK or RST belong to a connection
  bool mayBeEmpty = false;         // a file without lists is no error
  RuleBound bound;
  // Refused rules after which the rest of a file is not read.
  U64 refusalsMax = std::numeric_limits< U64 >::max();
  std::vector< std::string > wanted;  // lists that are read even if the file does not use them
  std::function< void( U64 done, U64 total ) > progress;  // in bytes; empty: not called
};

// A file before it is read.
struct AclSource {
  std::string name;  // of a list that the file does not name
  std::string file;
  std::string text;
  const Platform::JsonNode * root = nullptr;  // of JSON texts
  ReaderOptions options;
};

// How far a reader is in a text.
class ReadProgress {
 public:
  ReadProgress() = default;
  // Refers to the source.
  explicit ReadProgress( const AclSource & source ) : source_( &source ) {}

  // Call for each rule or line, with a position in the text.
  void at( const char * position ) {
    if ( source_ != nullptr && source_->options.progress && ( ++calls_ & 63 ) == 0 )
      source_->options.progress( static_cast< U64 >( position - source_->text.data() ),
                                 source_->text.size() );
  }

 private:
  const AclSource * source_ = nullptr;
  U32 calls_ = 0;
};

struct AclDocument {
  std::vector< Acl > lists;  // in text order
  Refusals refusals;
  // What the reader assumes where the format leaves it open, for reports.
  std::vector< std::string > notes;
  RuleBound bound = {};
  ReadProgress progress = {};

  // Call before a rule is added to a list of `rules` rules. Throws Platform::FileError if that is
  // beyond the bound: reading ends there.
  void requireRoom( const std::string & list, U64 rules, Platform::Place place ) const {
    if ( rules >= bound.rules )
      bound.fail( refusals.file(), list, place );
  }
};

}  // namespace Agent
