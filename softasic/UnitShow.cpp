// Groups and entries as text, for show commands.
#include <algorithm>
#include <cstdio>
#include <ostream>

#include "softasic/QualifierNames.h"
#include "softasic/Unit.h"

namespace SoftAsic {

namespace {

std::string hex( U64 value, int digits ) {
  char text[ 24 ];
  std::snprintf( text, sizeof text, "0x%0*llx", digits,
                 static_cast< unsigned long long >( value ) );
  return text;
}

std::string hexWords( const std::vector< U64 > & words ) {
  std::string text;
  for ( const U64 word : words )
    text += ( text.empty() ? "" : "_" ) + hex( word, words.size() > 1 ? 16 : 1 );
  return text;
}

std::string hexBytes( const std::vector< U8 > & bytes ) {
  std::string text;
  char digits[ 3 ];
  for ( const U8 byte : bytes ) {
    std::snprintf( digits, sizeof digits, "%02x", byte );
    text += digits;
  }
  return text;
}

// "0-2,5"
std::string ranges( std::vector< U32 > numbers ) {
  std::sort( numbers.begin(), numbers.end() );
  std::string text;
  for ( size_t i = 0; i < numbers.size(); ) {
    size_t last = i;
    while ( last + 1 < numbers.size() && numbers[ last + 1 ] == numbers[ last ] + 1 )
      ++last;
    text += ( text.empty() ? "" : "," ) + std::to_string( numbers[ i ] );
    if ( last != i )
      text += "-" + std::to_string( numbers[ last ] );
    i = last + 1;
  }
  return text;
}

// "IFP1b": stage, pipe (unless the pipes share the table), b for the second copy.
std::string tableName( const StageTable & table ) {
  return stageName( table.kind ) + ( table.perPipe ? std::to_string( table.pipe ) : "" ) +
         ( table.copy != 0 ? "b" : "" );
}

std::vector< U32 > banksOf( const Group & group ) {
  std::vector< U32 > banks;
  for ( const Slice * slice : group.rows().slices() ) {
    banks.push_back( slice->number() );
    if ( group.rows().demand().mode == WideMode::paired )
      banks.push_back( slice->number() + 1 );
  }
  return banks;
}

std::string qualifierText( U32 qualifier ) {
  const char * name = qualifierName( qualifier );
  return name != nullptr ? name : std::to_string( qualifier );
}

const char * actionName( bcm_field_action_t action ) {
  switch ( action ) {
    case bcmFieldActionDrop:
      return "Drop";
    case bcmFieldActionPermit:
      return "Permit";
    case bcmFieldActionCopyToCpu:
      return "CopyToCpu";
    case bcmFieldActionRedirectPbmp:
      return "RedirectPbmp";
    case bcmFieldActionEgressMask:
      return "EgressMask";
    case bcmFieldActionMirrorPbmp:
      return "MirrorPbmp";
    default:
      return "Other";
  }
}

void show( std::ostream & out, const char * title, const RuleView & rule ) {
  out << "  " << title << "\n";
  for ( const QualifierView & match : rule.qualifiers )
    out << "    match " << qualifierText( match.qualifier ) << " " << hexWords( match.value ) << "/"
        << hexWords( match.mask ) << "\n";
  for ( const DataMatchView & match : rule.data )
    out << "    match data qualifier " << match.id << " " << hexBytes( match.value ) << "/"
        << hexBytes( match.mask ) << "\n";
  for ( const ActionView & action : rule.actions ) {
    std::vector< U32 > ports;
    for ( U32 port = 0; port < BCM_PBMP_PORT_MAX; ++port )
      if ( action.ports.has( port ) )
        ports.push_back( port );
    out << "    action " << actionName( action.action )
        << ( ports.empty() ? "" : " ports " + ranges( ports ) ) << "\n";
  }
}

}  // namespace

int Unit::kelmor_field_group_banks( bcm_field_group_t id, std::ostream * banks ) {
  const Group * group = groups_.find( id );
  if ( group == nullptr )
    return BCM_E_NOT_FOUND;
  *banks << tableName( group->table() ) << " " << ranges( banksOf( *group ) );
  return BCM_E_NONE;
}

int Unit::kelmor_field_group_show( bcm_field_group_t id, std::ostream * text ) {
  const Group * group = groups_.find( id );
  if ( group == nullptr )
    return BCM_E_NOT_FOUND;
  const RowAllocator & rows = group->rows();
  *text << "group " << hex( id, 1 ) << " in " << tableName( group->table() ) << ", priority "
        << group->config().priority << "\n  banks " << ranges( banksOf( *group ) ) << ", key of "
        << rows.demand().keyBits << " bits\n  " << rows.usedRows() << " of " << rows.totalRows()
        << " entries used, " << rows.freeRows() << " more possible\n  matches";
  for ( U32 qualifier = 0; qualifier < bcmFieldQualifyCount; ++qualifier )
    if ( group->config().qset.has( qualifier ) )
      *text << " " << qualifierText( qualifier );
  for ( const DataField & field : group->layout().data() )
    *text << " data:" << field.id;
  *text << "\n";
  return BCM_E_NONE;
}

int Unit::kelmor_field_entry_show( bcm_field_entry_t id, std::ostream * text ) {
  const std::optional< EntryView > entry = entryView( id );
  if ( !entry )
    return BCM_E_NOT_FOUND;
  *text << "entry " << hex( id, 1 ) << " of group " << hex( entry->group, 1 ) << ", slice "
        << entry->slice << " row " << entry->row << ", priority " << entry->priority << ", "
        << ( entry->installed ? "installed" : "not installed" )
        << ( entry->enabled ? "" : ", disabled" ) << "\n";
  if ( entry->stat != 0 )
    *text << "  statistics " << entry->stat << "\n";
  if ( entry->policer != 0 )
    *text << "  policer " << hex( entry->policer, 1 ) << "\n";
  show( *text, entry->installed ? "rule" : "rule, not in the lookup", entry->pending );
  if ( entry->installed && !( entry->pending == entry->effective ) )
    show( *text, "the lookup still has", entry->effective );
  return BCM_E_NONE;
}

}  // namespace SoftAsic
