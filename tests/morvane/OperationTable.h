// The managers' operations as a table, for tests that run every one of them: alone with failing
// SDK calls, or two at the same time.
#pragma once

#include <iostream>
#include <span>

#include "morvane/AclType.h"
#include "morvane/MorvaneTcamCapacitySm.h"
#include "tests/morvane/TestSwitch.h"

namespace Test {

// Arguments of an operation: entry, field, range checker and policer.
struct Place {
  TcamGroupAssignment user;
  U32 group, offset;
  TcamGroupAssignment mirroring;
  U8 field;
  U32 rangeFrom;
};
inline constexpr Place places[] = {
    { ipAclTcamGroup, 1, 1, mirroringAclTcamGroup1, 8, 1 },
    { ipAclTcamGroup, 1, 2, mirroringAclTcamGroup1, 12, 2 },   // same user
    { qosTcamGroup, 1, 0, mirroringAclTcamGroup2, 8, 1 },      // other user, or a shared field
    { urpfTcamGroup, 3, 0, mirroringAclTcamGroup2, 16, 3 } };  // other group

class OperationSwitch : public TestSwitch {
 public:
  explicit OperationSwitch( const Chip & geometry ) : TestSwitch( geometry ) {
    Qualifiers ingress = { bcmFieldQualifyDstIp, bcmFieldQualifyInPorts };
    if ( chip.shared )
      ingress.push_back( bcmFieldQualifyOuterVlanId );
    for ( const U32 group : { 1U, 3U, 4U, 5U, 6U } )
      platform.group( group, ingress );
    platform.user( ipAclTcamGroup, 1, 8, tcamAllocateOnDemand )
        .user( qosTcamGroup, 1, 0, tcamAllocateUnbounded )
        .user( ipCoppTcamGroup, 1, 4, tcamAllocateAsChunk )
        .user( l2ControlPrioTcamGroup, 1, 4, tcamAllocateAtBeginning )
        .user( urpfTcamGroup, 3, 0, tcamAllocateUnbounded )
        .user( mirroringAclTcamGroup1, 4, 0, tcamAllocateUnbounded )
        .user( mirroringAclTcamGroup2, 5, 0, tcamAllocateUnbounded )
        .user( openFlowUdfTcamGroup, 6, 0, tcamAllocateUnbounded );
    for ( TcamReservation & user : platform.users )
      user.mirroringAclUdf = true;
    start();
    capacity = Kiv::make< MorvaneTcamCapacitySm >( Kiv::Name( "capacity" ), groups, &table );
    capacity->poll();
  }

  const Place & at( U32 place ) const { return places[ place ]; }
  MorvaneTcamEntryManager & user( U32 place ) const { return manager( at( place ).user ); }
  MorvaneTcamEntryManager & mirror( U32 place ) const { return manager( at( place ).mirroring ); }
  RangeCheckerDesc range( U32 place ) const { return { at( place ).rangeFrom, 9, 1 }; }

  // Prepare an operation at a place.
  void take( U32 place ) {
    entry[ place ] = TestSwitch::take( at( place ).user, at( place ).offset );
  }
  void takeAnother( U32 place ) { TestSwitch::take( at( place ).user, 7 ); }
  void write( U32 place ) {
    match( 0, entry[ place ], 7 + place );
    if ( groups->ovidWar( at( place ).group ) )
      SDK_CHECKED( bcm_field_qualify_OuterVlanId( 0, entry[ place ], 10, 0xFFF ) );
  }
  void install( U32 place ) {
    take( place ), write( place );
    user( place ).installEntry( 0, entry[ place ] );
  }
  void makePolicer( U32 place ) {
    bcm_policer_config_t limits = { 0, bcmPolicerModeCommitted, 1 + place, 1, 0, 0 };
    policer[ place ] = groups->createPolicer( 0, reinterpret_cast< U8 * >( &limits ) );
  }
  GroupUdfQualApplyStatus field( U32 place, bool add, S32 type = Acl::ip() ) {
    if ( add )
      mirror( place ).initializeGroup( 0 );
    return mirror( place ).setMirroringAclUdf( 0, type, 0x0800, UdfBaseL2HeaderEnd,
                                               at( place ).field, 4, add );
  }

  struct : TcamCapacityTable {
    void rowIs( const TcamCapacityKey &, const TcamCapacityRow & ) override {}
    void rowDel( const TcamCapacityKey & ) override {}
    void alarmIs( const TcamCapacityKey &, bool ) override {}
  } table;
  Kiv::Ptr< MorvaneTcamCapacitySm > capacity;
  U32 entry[ std::size( places ) ] = {};
  U32 policer[ std::size( places ) ] = {};
};

// State after an exception: that before the operation, that after it, either of them, or that
// before unless the group is lost. An exception in an observer is reported, not passed on.
enum class Left { before, after, either, beforeOrNoGroup, unknown, observed };

struct TableOperation {
  using Code = void ( * )( OperationSwitch &, U32 place );
  const char * name;
  Code prepare;
  Code run;
  Left left = Left::before;
  bool twice = false;  // may be run twice at one place
};

// Every operation runs on every chip; without twins a bitmap is only recorded.
std::span< const TableOperation > tableOperations();
inline const Chip tableChips[] = {
    { .presels = true, .slices = 6, .largeSlices = 2, .fixedKeys = true },
    { .pipes = 2, .secondCopy = true, .slices = 8, .keyBits = 190, .paired = true },
    { .pipes = 2, .shared = true, .slices = 6, .largeSlices = 2 } };

}  // namespace Test
