#include <fmt/core.h>

#include <algorithm>

#include "agent/command/MeaningCommands.h"
#include "agent/command/MeaningInput.h"
#include "agent/feature/AclShares.h"
#include "agent/packets/RandomPackets.h"
#include "agent/report/Terminal.h"
#include "agent/verdict/Difference.h"
#include "agent/verdict/ExamplePacket.h"

namespace Agent {

namespace {

constexpr U64 nanosecondsApart = 1'000'000'000;  // so that policers are full

// The lists that are looked up as one.
struct ListTable {
  ListClass lists;
  std::vector< const Acl * > before;
  std::vector< const Acl * > after;
};

std::vector< ListTable > tablesOf( const RunInput & before, const RunInput & after ) {
  std::vector< ListTable > tables;
  for ( const Acl & acl : before.acls )
    tableFor( classOf( acl ), tables ).before.push_back( &acl );
  for ( const Acl & acl : after.acls )
    tableFor( classOf( acl ), tables ).after.push_back( &acl );
  return tables;
}

std::string tableName( const ListTable & table ) {
  return fmt::format( "{} {} lists{}", kindName( table.lists.kind ), useName( table.lists.use ),
                      table.lists.direction == Direction::out ? ", out" : "" );
}

bool matchesVlans( const std::vector< const Acl * > & acls ) {
  return std::any_of(
      acls.begin(), acls.end(),
      []( const Acl * acl ) {
        return std::any_of(
            acl->rules.begin(), acl->rules.end(),
            []( const AclRule & rule ) {
              return restricts( matchField( FieldId::vlan ), rule ) ||
                     restricts( matchField( FieldId::vlanPriority ), rule );
            } );
      } );
}

// What the chip does with the examples of the rows when only the lists of one version of a table
// are programmed.
class ChipRun {
 public:
  ChipRun( const RunInput & input, const std::vector< const Acl * > & acls )
      : input_( input ), acls_( acls ) {}

  std::vector< std::string > send( const std::vector< DifferenceRow > & rows,
                                   Fate DifferenceRow::*fate ) {
    std::vector< std::string > texts( rows.size() );
    RunInput input = tableInput();
    std::string reason = fault( input );
    if ( reason.empty() ) {
      const RunReport report = withProgrammedSwitch( input, [ & ]( SwitchSession & session ) {
        Replay replay( session, []( U32 ) { return std::nullopt; } );
        for ( size_t i = 0; i < rows.size(); ++i )
          texts[ i ] = sendOne( replay, rows[ i ], rows[ i ].*fate, i );
      } );
      for ( const AclReport & acl : report.acls )
        if ( acl.shortage )
          reason = "the list does not fit";
    }
    if ( !reason.empty() )
      texts.assign( rows.size(), fmt::format( "not run on {}: {}", input_.platform.name, reason ) );
    return texts;
  }

 private:
  RunInput tableInput() const {
    RunInput input = input_;
    input.acls.clear();
    for ( const Acl * acl : acls_ )
      input.acls.push_back( *acl );
    return input;
  }

  static std::string fault( const RunInput & input ) {
    for ( const Acl & acl : input.acls )
      if ( const auto found = listFault( input.platform, acl ) )
        return found->what;
    return "";
  }

  std::string sendOne( Replay & replay, const DifferenceRow & row, const Fate & expected,
                       size_t index ) const {
    if ( input_.platform.chip.sharedByPipes && matchesVlans( acls_ ) &&
         row.example.of( FieldId::vlan ).low == 0 )
      return "not run: the platform takes untagged packets for ones of VLAN 0";
    const PacketFate fate =
        replay.send( { frameOf( row.example ), ( index + 1 ) * nanosecondsApart },
                     { static_cast< U32 >( row.example.of( FieldId::inPorts ).low ),
                       static_cast< U32 >( row.example.of( FieldId::outPorts ).low ) } );
    const bool same = fate.drop == ( expected.forwarding == Forwarding::drop ) &&
                      fate.copyToCpu == expected.copyToCpu &&
                      fate.mirrorPorts.contains( expected.mirrorPort.value_or( 0 ) ) ==
                          expected.mirrorPort.has_value();
    return std::string( fate.drop ? "drops it" : "lets it pass" ) +
           ( same ? "" : ", which differs from the list's meaning" );
  }

  const RunInput & input_;
  const std::vector< const Acl * > & acls_;
};

void runExamples( const RunInput & before, const RunInput & after, const ListTable & table,
                  std::vector< DifferenceRow > & rows ) {
  if ( rows.empty() )
    return;
  const auto old = ChipRun( before, table.before ).send( rows, &DifferenceRow::before );
  const auto now = ChipRun( after, table.after ).send( rows, &DifferenceRow::after );
  for ( size_t i = 0; i < rows.size(); ++i )
    rows[ i ].chip = fmt::format( "old {}; new {}", old[ i ], now[ i ] );
}

// With what happens to packets about which the lists do not decide as a list of its own.
std::vector< Acl > wholeLists( const std::vector< const Acl * > & acls, Forwarding rest ) {
  std::vector< Acl > lists;
  for ( const Acl * acl : acls )
    lists.push_back( *acl );
  if ( rest == Forwarding::none || lists.back().defaultAction != Forwarding::none )
    return lists;
  Acl last;
  last.name = "default";
  last.kind = lists.back().kind;
  last.direction = lists.back().direction;
  last.defaultAction = rest;
  lists.push_back( std::move( last ) );
  return lists;
}

std::vector< Packet > packetsFor( const std::vector< Acl > & old, const std::vector< Acl > & fresh,
                                  const std::vector< DifferenceRow > & rows ) {
  constexpr U32 randomPackets = 1000;
  std::vector< Packet > packets;
  for ( const DifferenceRow & row : rows )
    packets.push_back( { frameOf( row.example ), 0 } );
  for ( const std::vector< Acl > * lists : { &old, &fresh } )
    for ( Frame & frame : randomFrames( *lists, 1, randomPackets ) )
      packets.push_back( { std::move( frame ), 0 } );
  return packets;
}

// Empty if one version of the table has no lists, or they do more than filter.
std::optional< ReplaceReport > replacement( const RunInput & before, const ListTable & table,
                                            const std::vector< DifferenceRow > & rows,
                                            Forwarding rest, bool apply ) {
  if ( table.before.empty() || table.after.empty() || table.lists.use != AclUse::filter )
    return std::nullopt;
  const std::vector< Acl > old = wholeLists( table.before, rest );
  const std::vector< Acl > fresh = wholeLists( table.after, rest );
  for ( const std::vector< Acl > * lists : { &old, &fresh } )
    for ( const Acl & acl : *lists )
      if ( const auto fault = listFault( before.platform, acl ) ) {
        ReplaceReport report;
        report.fault = fault->what;
        return report;
      }
  return replaceLists( before.platform, old, fresh, before.portMethod,
                       apply ? packetsFor( old, fresh, rows ) : std::vector< Packet >(),
                       before.ports );
}

}  // namespace

bool diffCommand( const MeaningOptions & options ) {
  RunOptions reading = options.run;
  reading.reader.mayBeEmpty = true;
  reading.acls = { options.before };
  const RunInput before = readLists( reading );
  reading.acls = { options.after };
  const RunInput after = readLists( reading );
  std::vector< TableDifference > differences;
  for ( const ListTable & table : tablesOf( before, after ) ) {
    const Forwarding rest =
        table.lists.use == AclUse::filter ? before.defaultAction : Forwarding::none;
    differences.push_back( withinNodes( [ & ] {
      Space space( table.lists.kind, limitsOf( options, before ) );
      const Meaning meaningBefore( space, table.before, rest );
      const Meaning meaningAfter( space, table.after, rest );
      TableDifference found = differenceOf( space, meaningBefore, meaningAfter, options.rows );
      runExamples( before, after, table, found.rows );
      if ( !found.rows.empty() )
        found.replacement = replacement( before, table, found.rows, rest, options.apply );
      found.forgetSets();
      found.name = tableName( table );
      found.direction = table.lists.direction;
      return found;
    } ) );
  }
  const U64 refused = before.remarks.refused + after.remarks.refused;
  printOutput( options.json
                   ? differenceJson( differences, refused )
                   : partialText( before.remarks ) + partialText( after.remarks ) +
                         differenceText( differences, Terminal::standardOutput().columns ) );
  const bool same =
      std::all_of( differences.begin(), differences.end(),
                   []( const TableDifference & table ) { return table.rows.empty(); } );
  return same && refused == 0;
}

}  // namespace Agent
