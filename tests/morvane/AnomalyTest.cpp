// Fails SDK call 1, 2, 3 ... of every operation with each relevant code: the operation ends as
// documented with equal records, or ends the process.

#include <algorithm>
#include <string_view>

#include "tests/Rounds.h"
#include "tests/morvane/OperationTable.h"

namespace Test::Anomaly {

bool takesFromRange( const TableOperation & operation ) {
  const std::string_view name = operation.name;
  return name == "get of a chunk" || name == "get of a range";
}

// Whether the process survives when that call fails with rc; `again`: its group was widened before,
// for an entry's twin.
bool survives( const TableOperation & operation, const Chip & chip,
               const SoftAsic::CallRecord & call, bool again, int rc ) {
  const bool first = tcamPipeBits.get( call.id ) == 0;
  switch ( call.op ) {
    case SdkOp::bcm_field_group_compress:
    case SdkOp::bcm_field_group_dump:
    case SdkOp::kelmor_field_group_banks:
      return true;
    case SdkOp::bcm_field_group_config_create:  // retried once
      return rc == -14 || rc == -16 || tcamNumberBits.get( call.id ) >= 4;
    case SdkOp::bcm_field_range_create:
    case SdkOp::bcm_field_stat_create:
    case SdkOp::bcm_field_data_qualifier_create:
    case SdkOp::bcm_field_data_qualifier_packet_format_add:
    case SdkOp::bcm_field_data_qualifier_ethertype_add:
      return rc == -14;
    case SdkOp::bcm_field_entry_create:
    case SdkOp::bcm_field_entry_create_id:
      return !takesFromRange( operation ) && ( chip.shared || first ) && ( rc == -14 || rc == -8 );
    case SdkOp::bcm_field_group_set:
      return operation.left == Left::beforeOrNoGroup && first && !again &&
             ( rc == -14 || ( rc == -16 && chip.presels ) );
    default:
      return false;
  }
}

// Runs in a child; any text on standard error is a failure.
void attempt( OperationSwitch & sw, const TableOperation & operation, SdkOp op ) {
  const std::string before = sw.state();
  operation.run( sw, 0 );
  if ( !Kiv::ActivityUnlockAnchor::lock().held() || sw.asic.sdkLockHeld() )
    std::fputs( "left a lock astray\n", stderr );
  const SdkOp refusals[] = { SdkOp::bcm_field_entry_create, SdkOp::bcm_field_entry_create_id,
                             SdkOp::bcm_field_stat_create, SdkOp::bcm_field_data_qualifier_create };
  // A range stays when one of its entries gets no statistics.
  const bool refused = operation.left == Left::before && !takesFromRange( operation ) &&
                       std::ranges::find( refusals, op ) != std::end( refusals );
  if ( refused && sw.state() != before )
    std::fputs( ( "left\n" + difference( before, sw.state() ) ).c_str(), stderr );
  std::fputs( sw.audit().c_str(), stderr );
  std::fputs( sw.emptied().c_str(), stderr );
}

void failEachCall( const TableOperation & operation, const Chip & chip ) {
  OperationSwitch sw( chip );
  operation.prepare( sw, 0 );
  const auto calls = sw.callsOf( [ & ] { operation.run( sw, 0 ); } );
  for ( U32 nth = 1; nth <= calls.size(); ++nth ) {
    const SoftAsic::CallRecord & call = calls[ nth - 1 ];
    const bool again = std::find( calls.begin(), calls.end(), call ) < calls.begin() + nth - 1;
    for ( const int rc : { -14, -16, -8, -11 } ) {
      if ( !inSample( nth + static_cast< U32 >( -rc ), 3 ) )
        continue;
      sw.faults.arm( { .nth = nth, .rc = rc } );
      const Ending end = inChild( [ & ] { attempt( sw, operation, call.op ); } );
      const std::string where =
          fmt::format( "{} on {}: call {} {} {:#x} rc {}", operation.name,
                       testing::PrintToString( chip ), nth, sdkOpName( call.op ), call.id, rc );
      const bool dies = !survives( operation, chip, call, again, rc );
      EXPECT_EQ( end.aborted, dies ) << where;
      const testing::Matcher< std::string > dying = testing::AnyOf(
          HasSubstr( fmt::format( " API ERROR:{} ({})\n", sw.asic.sdkErrorText( rc ), rc ) ),
          HasSubstr( "Failed to create per pipe entries" ), HasSubstr( "`pipe == 0'" ),
          HasSubstr( "udfQual.qual_id() == currentQualId" ) );
      EXPECT_THAT( end.text, dies ? dying : testing::Eq( "" ) ) << where;
    }
  }
}

TEST( AnomalyTest, EveryCallOfEveryOperationMayFail ) {
  for ( const TableOperation & operation : tableOperations() )
    for ( const Chip & chip : tableChips )
      failEachCall( operation, chip );
}

}  // namespace Test::Anomaly
