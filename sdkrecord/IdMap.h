// Which id of a record is which id of the SDK that replays it.
//
// Ids of objects that the SDK names (counters, range checkers, policers, ..) may differ from the
// recorded ones. An id that was not created itself, but whose number was, follows it: the objects
// of further pipes and copies have the number of the first one.
#pragma once

#include <map>
#include <tuple>

#include "sdkrecord/Leaf.h"

namespace SdkRecord {

class IdMap {
 public:
  void created( U32 unit, IdKind kind, U32 recorded, U32 here );
  void destroyed( U32 unit, IdKind kind, U32 recorded );
  void clear( U32 unit );

  // Changes the ids among the leaves from the recorded ones to those of the SDK, and back.
  void toHere( U32 unit, const std::vector< Leaf > & leaves ) const;
  void toRecorded( U32 unit, const std::vector< Leaf > & leaves ) const;

 private:
  using Ids = std::map< std::tuple< U32, IdKind, U32 >, U32 >;

  static U32 find( const Ids & ids, U32 unit, IdKind kind, U32 id );
  static void translate( const Ids & ids, U32 unit, const std::vector< Leaf > & leaves );

  Ids here_;      // by recorded id
  Ids recorded_;  // by id of the SDK
};

}  // namespace SdkRecord
