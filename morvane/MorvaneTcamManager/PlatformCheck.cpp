#include "morvane/PlatformCheck.h"

#include <iterator>
#include <map>
#include <optional>
#include <utility>

#include "morvane/MorvaneTcamManager/GroupMap.h"
#include "morvane/MorvaneTcamManager/QualifierSet.h"
#include "morvane/TcamIds.h"

namespace Morvane {

namespace {

using Fault = PlatformTableFault;
using Table = PlatformTableFault::Table;

constexpr const char * tableNames[] = { "groups", "excludes", "includes", "reservations", "units" };
constexpr U32 groupIdEnd = 256;  // several attributes are keyed by 8 bits
constexpr S32 chipTypeMax = 0xFFFF;

bool isMirroring( TcamGroupAssignment assignment ) {
  return assignment >= mirroringAclTcamGroup1 && assignment <= mirroringAclTcamGroup4;
}

std::string rowName( Table table, U32 row ) {
  return tableNames[ static_cast< U32 >( table ) ] + ( "[" + std::to_string( row ) ) + "]";
}

std::string rangeText( U64 first, U64 end ) {
  return "entries " + std::to_string( first ) + " to " + std::to_string( end - 1 );
}

class TableCheck {
 public:
  TableCheck( PlatformTables & tables, const std::vector< PlatformUnit > & units )
      : tables_( tables ), units_( units ) {}

  std::vector< Fault > run() {
    checkGroups();
    for ( U32 i = 0; i < tables_.numGroupExcludes(); ++i )
      checkList( Table::excludes, i, tables_.groupExcludes( i ).qualifiers );
    for ( U32 i = 0; i < tables_.numGroupIncludes(); ++i )
      checkList( Table::includes, i, tables_.groupIncludes( i ).qualifiers );
    checkUnits();
    if ( chipType_ )
      groupOfUser_ = groupsByUser( tables_, *chipType_ );
    for ( U32 i = 0; i < tables_.numTcamReservations(); ++i )
      checkReservation( i, tables_.tcamReservation( i ) );
    return std::move( faults_ );
  }

 private:
  struct EntryRange {
    U64 first;
    U64 end;
    U32 row;
  };

  void fail( Table table, U32 row, const std::string & field, const std::string & what ) {
    faults_.push_back( { table, row, field, what } );
  }
  // Start-up has its own assertion for it.
  void failElsewhere( Table table, U32 row, const std::string & field, const std::string & what ) {
    faults_.push_back( { table, row, field, what, true } );
  }

  // --- Groups and qualifiers -----------------------------------------------------------------

  void checkGroups() {
    for ( U32 i = 0; i < tables_.numTcamGroups(); ++i ) {
      const TcamGroup & group = tables_.tcamGroup( i );
      const std::string id = std::to_string( group.group );
      if ( group.group >= groupIdEnd )
        failElsewhere( Table::groups, i, "group",
                       id + " is not below " + std::to_string( groupIdEnd ) );
      const auto [ first, added ] = rowOfGroup_.try_emplace( group.group, i );
      if ( !added ) {
        fail( Table::groups, i, "group",
              id + " is the id of " + rowName( Table::groups, first->second ) );
        // That assertion takes index 0 for absent.
        faults_.back().assertedElsewhere = first->second != 0;
      }
      checkList( Table::groups, i, group.qualifiers );
    }
  }

  void checkList( Table table, U32 row, const U32 * qualifiers ) {
    for ( U32 i = 0; qualifiers[ i ] != bcmFieldQualifyCount; ++i )
      checkQualifier(
          table, row, qualifiers[ i ],
          [ i ] { return "qualifiers[" + std::to_string( i ) + "]"; } );
  }

  // `field` names the field, for a failure only: start-up checks some thousand qualifiers.
  template < class Field >
  void checkQualifier( Table table, U32 row, U32 qualifier, Field field ) {
    if ( qualifier >= bcmFieldQualifyCount )
      fail( table, row, field(), std::to_string( qualifier ) + " is no qualifier of the SDK" );
  }

  // --- Units ---------------------------------------------------------------------------------

  void checkUnits() {
    if ( units_.empty() )
      failElsewhere( Table::units, 0, "chipType", "there is no unit" );
    for ( const PlatformUnit & unit : units_ ) {
      const S32 chipType = tables_.chipType( unit.unit );
      const std::string type = std::to_string( chipType );
      if ( chipType < 0 || chipType > chipTypeMax )
        fail( Table::units, unit.unit, "chipType",
              type + " is not 0 to " + std::to_string( chipTypeMax ) );
      if ( chipType_ && *chipType_ != chipType )
        failElsewhere( Table::units, unit.unit, "chipType",
                       type + ", but another unit has " + std::to_string( *chipType_ ) );
      chipType_ = chipType_.value_or( chipType );
      checkRecord( unit );
    }
  }

  void checkRecord( const PlatformUnit & unit ) {
    const MorvaneCentral::ChipInfo & record = unit.record;
    if ( record.qualifierSwap ) {
      checkQualifier(
          Table::units, unit.unit, record.swapFrom, [] { return "swapFrom"; } );
      checkQualifier( Table::units, unit.unit, record.swapTo, [] { return "swapTo"; } );
    }
    checkQualifier( Table::units, unit.unit, record.extraQualifier,
                    [] { return "extraQualifier"; } );
  }

  // --- Reservations --------------------------------------------------------------------------

  U32 groupOf( const TcamReservation & user ) const {
    const auto mapped = groupOfUser_.find( user.assignment );
    return mapped == groupOfUser_.end() ? user.group : mapped->second;
  }

  void checkReservation( U32 row, const TcamReservation & user ) {
    if ( enumName( user.assignment ) == nullptr )
      return fail( Table::reservations, row, "assignment",
                   std::to_string( static_cast< U32 >( user.assignment ) ) + " is unknown" );
    if ( enumName( user.strategy ) == nullptr )
      return fail( Table::reservations, row, "strategy",
                   std::to_string( static_cast< U32 >( user.strategy ) ) + " is unknown" );
    const auto [ other, added ] = rowOfUser_.try_emplace( user.assignment, row );
    if ( !added )
      return fail( Table::reservations, row, "assignment",
                   enumName( user.assignment ) +
                       ( " is the user of " + rowName( Table::reservations, other->second ) ) );
    const U32 group = groupOf( user );
    if ( !rowOfGroup_.contains( group ) )
      return failElsewhere( Table::reservations, row, "group",
                            "there is no group " + std::to_string( group ) );
    checkSharing( row, user, group );
    checkPipes( row, user, group );
    checkSize( row, user, group );
    if ( user.noStatsPerEntry && !tables_.noStatsPerEntry( group ) )
      failElsewhere( Table::reservations, row, "noStatsPerEntry",
                     "group " + std::to_string( group ) + " keeps statistics per entry" );
  }

  // A mirroring group's qualifier list and reference count depend on its one user.
  void checkSharing( U32 row, const TcamReservation & user, U32 group ) {
    const auto [ other, added ] = rowOfUserOfGroup_.try_emplace( group, row );
    if ( added )
      return;
    const TcamReservation & first = tables_.tcamReservation( other->second );
    if ( isMirroring( user.assignment ) || isMirroring( first.assignment ) )
      fail( Table::reservations, row, "group",
            "mirroring group " + std::to_string( group ) + " has " +
                rowName( Table::reservations, other->second ) + " already" );
  }

  // Only pipe 0 is walked, and its preselector matches only that pipe's ports.
  void checkPipes( U32 row, const TcamReservation & user, U32 group ) {
    const U32 * const list = tables_.tcamGroup( rowOfGroup_.at( group ) ).qualifiers;
    if ( !isMirroring( user.assignment ) && !groupKind( list ).stageIngress )
      return;
    for ( const PlatformUnit & unit : units_ )
      if ( unit.properties.sharedByPipes && unit.properties.groupByPreselector )
        return fail( Table::reservations, row, "group",
                     "ingress group " + std::to_string( group ) +
                         " would serve pipe 0 only: unit " + std::to_string( unit.unit ) +
                         " is sharedByPipes and groupByPreselector" );
  }

  void checkSize( U32 row, const TcamReservation & user, U32 group ) {
    const bool unbounded = user.strategy == tcamAllocateUnbounded;
    if ( ( user.size == 0 ) != unbounded )
      fail( Table::reservations, row, "size",
            std::to_string( user.size ) + ", but " + enumName( user.strategy ) +
                ( unbounded ? " has no range" : " needs a range" ) );
    if ( user.size != 0 )
      checkMulticast( row, group );
    U64 & next = nextEntry_.try_emplace( group, firstBaseEntry( group ) ).first->second;
    checkRange( { next, next + user.size, row } );
    next += user.size;
  }

  // The multicast entry has an id that the SDK chooses, which a range cannot provide.
  void checkMulticast( U32 row, U32 group ) {
    if ( !tables_.requiresMulticastWar( group ) )
      return;
    for ( const PlatformUnit & unit : units_ )
      if ( unit.record.multicastWar )
        return fail( Table::reservations, row, "size",
                     "the multicast entry of group " + std::to_string( group ) +
                         " needs tcamAllocateUnbounded" );
  }

  // The ranges of a group are consecutive; a long one can reach the ids of another group.
  void checkRange( const EntryRange & range ) {
    if ( range.first == range.end )
      return;
    if ( range.end > entryNumberEnd )
      return fail( Table::reservations, range.row, "size",
                   rangeText( range.first, range.end ) + " pass the last entry, " +
                       std::to_string( entryNumberEnd - 1 ) );
    // Those before do not overlap each other.
    auto other = ranges_.upper_bound( range.first );
    if ( other != ranges_.begin() && std::prev( other )->second.end > range.first )
      --other;
    if ( other != ranges_.end() && other->first < range.end )
      return fail( Table::reservations, range.row, "size",
                   rangeText( range.first, range.end ) + " overlap " +
                       rangeText( other->first, other->second.end ) + " of " +
                       rowName( Table::reservations, other->second.row ) );
    ranges_.emplace( range.first, range );
  }

  PlatformTables & tables_;
  const std::vector< PlatformUnit > & units_;
  std::optional< S32 > chipType_;
  std::map< U32, U32 > rowOfGroup_;
  std::map< TcamGroupAssignment, U32 > groupOfUser_;  // where the group map has one
  std::map< TcamGroupAssignment, U32 > rowOfUser_;
  std::map< U32, U32 > rowOfUserOfGroup_;
  std::map< U32, U64 > nextEntry_;
  std::map< U64, EntryRange > ranges_;  // by their first entry
  std::vector< Fault > faults_;
};

}  // namespace

std::string PlatformTableFault::text() const {
  return rowName( table, row ) + "." + field + ": " + what;
}

std::vector< PlatformTableFault > platformTableFaults( PlatformTables & tables,
                                                       const std::vector< PlatformUnit > & units ) {
  return TableCheck( tables, units ).run();
}

std::vector< std::string > checkPlatformTables( PlatformTables & tables,
                                                const std::vector< PlatformUnit > & units ) {
  std::vector< std::string > texts;
  for ( const PlatformTableFault & fault : platformTableFaults( tables, units ) )
    texts.push_back( fault.text() );
  return texts;
}

}  // namespace Morvane
