// A switch with two mirroring groups, 1 and 2, a plain group 3 and a flow-programming group 4, each
// with a user. It collects the log messages.
#pragma once

#include "kiv/LogHandle.h"
#include "morvane/AclType.h"
#include "tests/morvane/TestSwitch.h"

namespace Test {

inline constexpr U32 anyType = 0xFFFFFFFF;

struct Field {
  UdfOffsetBase base = UdfBaseL3HeaderStart;
  U8 offset = 0;
  U32 ethType = anyType;
};

struct LoggedMessages : Kiv::LogSink {
  LoggedMessages() { Kiv::logSinkIs( this ); }
  ~LoggedMessages() override { Kiv::logSinkIs( nullptr ); }
  bool okToLog( const Kiv::LogHandle & message ) override { return message.severity() < 6; }
  void log( const Kiv::LogHandle & message ) override {
    text += std::string( message.mnemonic() ).substr( sizeof( "MORVANE_UDF_HW_RESOURCE" ) ) + " ";
  }
  const char * actionText( Kiv::StandardLogAction action ) const override {
    return action == Kiv::NoActionRequired ? "rest" : "call";
  }
  std::string text;  // "FULL NORMAL "
};

class UdfSwitch : public TestSwitch {
 public:
  UdfSwitch( const Chip & geometry, S32 aclType ) : TestSwitch( geometry ), type( aclType ) {
    for ( const U32 group : { 1U, 2U } ) {
      platform.group( group, { bcmFieldQualifyStageIngress } );
      platform.user( user( group ), group, group == 1 ? 4 : 0,
                     group == 1 ? tcamAllocateOnDemand : tcamAllocateUnbounded );
      platform.users.back().mirroringAclUdf = true;
    }
    platform.group( 3, { bcmFieldQualifyDstIp, bcmFieldQualifyStageIngress } );
    platform.user( qosTcamGroup, 3, 0, tcamAllocateUnbounded );
    platform.group( 4, { bcmFieldQualifyDstIp, bcmFieldQualifyStageIngress } );
    platform.user( openFlowUdfTcamGroup, 4, 0, tcamAllocateUnbounded );
    start();
    groups->groupMirroringAclTypeIs( 1, type );
    groups->groupMirroringAclTypeIs( 2, type );
  }

  static TcamGroupAssignment user( U32 group ) {
    return group == 1 ? mirroringAclTcamGroup1 : mirroringAclTcamGroup2;
  }

  GroupUdfQualApplyStatus set( const Field & field, bool add = true, U32 group = 1, U32 unit = 0 ) {
    return manager( user( group ) )
        .setMirroringAclUdf( unit, type, field.ethType, field.base, field.offset, 4, add );
  }

  // Every recorded qualifier, "unit.id x uses" with the uses of each group:
  // "0.1x3 1:2 2:1, 1.1x0 1:0".
  std::string udfs() const {
    std::vector< std::string > all;
    const auto list = [ & ]( auto spec ) {
      for ( ; spec; ++spec ) {
        all.push_back( fmt::format( "{}.{}x{}", spec.value().unit, spec.value().qualId,
                                    spec.value().refCount ) );
        for ( U8 group = 1; group <= 2; ++group )
          if ( groups->groupIdToMirroringAclUdf( group )->udfQualIdHas( spec.key() ) )
            all.back() +=
                fmt::format( " {}:{}", group,
                             groups->groupIdToMirroringAclUdf( group )->udfQualId( spec.key() ) );
      }
    };
    list( groups->ipMirroringAclUdfIterConst() );
    list( groups->macMirroringAclUdfIterConst() );
    return fmt::format( "{}", fmt::join( all, ", " ) );
  }

  // Key bits of group 1 without user-defined fields.
  static U32 plainKeyBits( const Chip & geometry, S32 aclType ) {
    Chip roomy = geometry;
    roomy.keyBits = 512;
    UdfSwitch sw( roomy, aclType );
    return sw.groups->initializeGroup( 0, 1 ) ? sw.asic.group( 0, 1 )->keyBits : 0;
  }

  const S32 type;
  LoggedMessages messages;
};

}  // namespace Test
