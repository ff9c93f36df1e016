#include "agent/verdict/Check.h"

#include <algorithm>

#include "agent/verdict/Order.h"

namespace Agent {

namespace {

class Checker {
 public:
  Checker( const Acl & acl, const SpaceLimits & limits, const CheckOptions & options )
      : space_( acl.kind, limits ),
        meaning_( space_, { &acl }, options.rest ),
        placed_( placedRules( space_, meaning_ ) ) {
    result_.acl = &acl;
  }

  ListCheck check( bool overlaps ) {
    findNever();
    findRedundant();
    findMergeable();
    const auto fates = meaning_.fates();
    if ( fates.size() == 1 ) {
      result_.onlyFate = fates.begin()->first;
      result_.onlyFate->sharing = {};  // sets must not outlive the space
    }
    if ( overlaps )
      findOverlaps();
    return std::move( result_ );
  }

 private:
  const std::vector< MeaningRow > & rows() const { return meaning_.rows(); }
  size_t rules() const { return result_.acl->rules.size(); }
  Fate fate( size_t rule ) const { return fateOf( *rows()[ rule ].acl, *rows()[ rule ].rule ); }
  void at( size_t rule ) { space_.at( result_.acl->name, rule ); }

  void findNever();
  std::vector< U32 > coversOf( size_t rule ) const;
  void findRedundant();
  void findMergeable();
  void findOverlaps();

  Space space_;
  const Meaning meaning_;
  std::vector< PlacedRule > placed_;
  ListCheck result_;
};

void Checker::findNever() {
  for ( size_t rule = 0; rule < rules(); ++rule ) {
    if ( !rows()[ rule ].decided.empty() )
      continue;
    at( rule );
    NeverMatches never = { static_cast< U32 >( rule ), coversOf( rule ), true };
    for ( const U32 cover : never.covers )
      never.agree = never.agree && fate( cover ) == fate( rule );
    result_.never.push_back( std::move( never ) );
  }
}

// One rule if one is enough. Otherwise later rules are left out while the rest still covers.
std::vector< U32 > Checker::coversOf( size_t rule ) const {
  const PacketSet & packets = rows()[ rule ].matched;
  std::vector< U32 > candidates;
  std::vector< PacketSet > before;  // what the candidates before each one cover
  PacketSet covered;
  for ( U32 earlier = 0; earlier < rule && !packets.empty(); ++earlier ) {
    PacketSet part = rows()[ earlier ].matched & packets;
    if ( part == packets )
      return { earlier };
    if ( part.empty() )
      continue;
    candidates.push_back( earlier );
    before.push_back( covered );
    covered |= part;
  }
  std::vector< U32 > covers;
  PacketSet missing = packets;
  for ( size_t i = candidates.size(); i-- > 0; ) {
    if ( before[ i ].contains( missing ) )
      continue;
    covers.insert( covers.begin(), candidates[ i ] );
    missing -= rows()[ candidates[ i ] ].matched;
  }
  return covers;
}

void Checker::findRedundant() {
  for ( const NeverMatches & never : result_.never )
    placed_[ never.rule ].removed = true;
  std::vector< PacketSet > decided;
  for ( const MeaningRow & row : rows() )
    decided.push_back( row.decided );
  decided.push_back( meaning_.undecided() );
  for ( const size_t rule : removeRedundant( placed_, decided ) )
    result_.redundant.push_back( static_cast< U32 >( rule ) );
}

void Checker::findMergeable() {
  std::vector< const AclRule * > left( rules() );
  for ( size_t rule = 0; rule < rules(); ++rule )
    left[ rule ] = placed_[ rule ].removed ? nullptr : rows()[ rule ].rule;
  for ( MergePair & pair : mergePairs( space_.kind(), left ) ) {
    if ( left[ pair.first ] == nullptr || left[ pair.second ] == nullptr )
      continue;
    at( pair.second );
    if ( !placeOfMerged( placed_, pair, space_.matchedBy( *result_.acl, pair.merged ) ) )
      continue;
    left[ pair.first ] = left[ pair.second ] = nullptr;
    result_.mergeable.push_back( std::move( pair ) );
  }
}

void Checker::findOverlaps() {
  for ( U32 second = 1; second < rules(); ++second ) {
    at( second );
    if ( rows()[ second ].decided.empty() )
      continue;
    for ( U32 first = 0; first < second; ++first ) {
      if ( fate( first ) == fate( second ) )
        continue;
      const PacketSet both = rows()[ first ].decided & rows()[ second ].matched;
      if ( !both.empty() )
        result_.overlaps.push_back( { first, second, space_.example( both ) } );
    }
  }
}

// The rows of one list among those of its table.
TakenByOthers takenRows( const std::vector< MeaningRow > & rows, size_t begin, size_t end ) {
  TakenByOthers taken;
  taken.all = true;
  PacketSet before;  // matched by earlier rows of the list
  PacketSet lost;
  for ( size_t row = begin; row < end; ++row ) {
    const PacketSet own = rows[ row ].matched - before;
    before |= rows[ row ].matched;
    taken.all = taken.all && rows[ row ].decided.empty();
    if ( own.empty() || !rows[ row ].decided.empty() )
      continue;
    lost |= own;
    if ( !rows[ row ].isDefault() )
      taken.rules.push_back( rows[ row ].index );
  }
  taken.all = taken.all && !lost.empty();
  for ( size_t row = 0; row < begin; ++row )
    if ( ( taken.lists.empty() || taken.lists.back() != rows[ row ].acl ) &&
         !( rows[ row ].decided & lost ).empty() )
      taken.lists.push_back( rows[ row ].acl );
  return taken;
}

}  // namespace

std::vector< TakenByOthers > takenByOthers( const std::vector< const Acl * > & lists,
                                            const SpaceLimits & limits ) {
  const Space space( lists.front()->kind, limits );
  const Meaning meaning( space, lists, Forwarding::none );
  std::vector< TakenByOthers > taken;
  size_t begin = 0;
  for ( const Acl * acl : lists ) {
    taken.push_back( takenRows( meaning.rows(), begin, begin + acl->size() ) );
    begin += acl->size();
  }
  return taken;
}

ListCheck checkList( const Acl & acl, const SpaceLimits & limits, const CheckOptions & options ) {
  return Checker( acl, limits, options ).check( options.overlaps );
}

}  // namespace Agent
