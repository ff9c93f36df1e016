#include "agent/command/TcamNames.h"

#include <fmt/core.h>

#include <algorithm>
#include <charconv>

#include "agent/acl/PoliceRate.h"
#include "agent/command/UsageError.h"
#include "agent/text/Suggestion.h"

namespace Agent {

namespace {

[[noreturn]] void failOption( const std::string & option, const std::string & what ) {
  throw UsageError( fmt::format( "{}: {}", option, what ) );
}

// True if the chip has the pipe and copy of the id.
bool isOnChip( U32 id, const SoftAsic::ChipProfile & chip ) {
  const U32 pipe = Morvane::tcamPipeBits.get( id );
  const U32 copy = Morvane::tcamCopyBits.get( id );
  return id == Morvane::tcamId( Morvane::tcamNumberBits.get( id ), pipe, copy ) &&
         pipe < chip.pipes && ( copy == 0 || chip.secondCopy );
}

U32 number( const std::string & option, const char * what, const std::string & text,
            const Platform::PlatformData & platform ) {
  const bool hex = text.starts_with( "0x" );
  const char * const first = text.data() + ( hex ? 2 : 0 );
  const char * const last = text.data() + text.size();
  U32 id = 0;
  const auto [ end, error ] = std::from_chars( first, last, id, hex ? 16 : 10 );
  if ( error != std::errc() || end != last )
    failOption( option, fmt::format( "no {} id: {}", what, text ) );
  if ( !isOnChip( id, platform.chip ) )
    failOption( option, fmt::format( "{} has no pipe or copy of the {} id {}", platform.name, what,
                                     text ) );
  return id;
}

}  // namespace

U32 namedGroup( const std::string & option, const std::string & id,
                const Platform::PlatformData & platform ) {
  const U32 group = Morvane::tcamNumberBits.get( number( option, "group", id, platform ) );
  if ( platform.group( group ) == nullptr )
    failOption( option, fmt::format( "{} has no group {}", platform.name, id ) );
  return group;
}

U32 namedEntry( const std::string & option, const std::string & id,
                const Platform::PlatformData & platform ) {
  const U32 word = number( option, "entry", id, platform );
  const U32 entry = Morvane::tcamNumberBits.get( word );
  // Unbounded users may have any id.
  for ( const Platform::EntryRange & range : Platform::entryRanges( platform ) )
    if ( range.first == range.end || ( entry >= range.first && entry < range.end ) )
      return word;
  failOption( option, fmt::format( "{} has no entry {}", platform.name, id ) );
}

Morvane::TcamGroupAssignment namedUser( const std::string & option, const std::string & name,
                                        const Platform::PlatformData & platform ) {
  for ( const Platform::ReservationData & user : platform.reservations )
    if ( name == user.name || name == Morvane::enumName( user.assignment ) )
      return user.assignment;
  failOption( option, fmt::format( "{} has no user {}", platform.name, name ) );
}

RuleIndex namedRule( const std::string & option, const std::string & text,
                     const std::vector< Acl > & acls ) {
  const size_t slash = text.rfind( '/' );
  RuleIndex index;
  if ( slash != std::string::npos ) {
    std::vector< std::string > names;
    for ( const Acl & acl : acls )
      names.push_back( acl.name );
    const std::string name = text.substr( 0, slash );
    const auto found = std::find( names.begin(), names.end(), name );
    if ( found == names.end() )
      failOption( option,
                  fmt::format( "no access list is named {}{}", name, suggestion( name, names ) ) );
    index.acl = static_cast< U32 >( found - names.begin() );
  } else if ( acls.size() != 1 ) {
    failOption( option, "with several access lists, RULE is LIST/NUMBER" );
  }
  const Acl & acl = acls[ index.acl ];
  const auto number = numberFromText( text.substr( slash == std::string::npos ? 0 : slash + 1 ) );
  if ( acl.rules.empty() )
    failOption( option, fmt::format( "{} has no rules", acl.name ) );
  if ( !number || *number == 0 || *number > acl.rules.size() )
    failOption( option, fmt::format( "{} has the rules 1 to {}", acl.name, acl.rules.size() ) );
  index.rule = static_cast< U32 >( *number - 1 );
  return index;
}

Kiv::Ptr< Morvane::MorvaneTcamEntryManager > managerOfEntry(
    const Morvane::MorvaneTcamGroupManager & manager, U32 entryId ) {
  const U32 entry = Morvane::tcamNumberBits.get( entryId );
  if ( auto owner = manager.tcamManagerForEntry( entry ) )
    return owner;
  for ( auto it = manager.entryManagerIterConst(); it; ++it )
    if ( entry >= it.member()->baseEntry() && entry < it.member()->endEntry() )
      return it.member();
  return nullptr;
}

}  // namespace Agent
