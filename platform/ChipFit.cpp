#include "platform/ChipFit.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <set>

#include "morvane/AclType.h"
#include "morvane/MorvaneTcamManager/QualifierSet.h"
#include "morvane/OvidTwin.h"
#include "morvane/TcamIds.h"
#include "shim/SdkCall.h"
#include "softasic/QualifierNames.h"
#include "softasic/SoftAsic.h"

namespace Platform {

namespace {

using Morvane::QualifierSet;
using SoftAsic::StageKind;
using SoftAsic::StageProfile;

constexpr S32 noAclType = -1;
constexpr std::array stageQualifiers = { bcmFieldQualifyStageLookup, bcmFieldQualifyStageIngress,
                                         bcmFieldQualifyStageEgress };  // by StageKind

bool isMirroring( const ReservationData & user ) {
  return user.assignment >= Morvane::mirroringAclTcamGroup1 &&
         user.assignment <= Morvane::mirroringAclTcamGroup4;
}

StageKind stageOf( const bcm_field_qset_t & qset ) {
  return qset.has( bcmFieldQualifyStageLookup )   ? StageKind::vfp
         : qset.has( bcmFieldQualifyStageEgress ) ? StageKind::efp
                                                  : StageKind::ifp;
}

const U32 * listOf( U32 group, U32 records, auto && record ) {
  for ( U32 i = records; i-- != 0; )
    if ( record( i ).group == group )
      return record( i ).qualifiers;
  return nullptr;
}

const char * listsOf( S32 aclType ) {
  return aclType == noAclType             ? ""
         : aclType == Morvane::Acl::ip()  ? " for mirroring IPv4 lists"
         : aclType == Morvane::Acl::ip6() ? " for mirroring IPv6 lists"
                                          : " for mirroring MAC lists";
}

class ChipFit {
 public:
  ChipFit( const PlatformData & data, PlatformModel & model )
      : data_( data ),
        model_( model ),
        properties_{ data.chip.sharedByPipes, data.chip.secondCopy, data.chip.groupByPreselector } {
  }

  std::optional< PlatformFault > run() {
    for ( U32 i = 0; i < data_.reservations.size(); ++i )
      if ( auto fault = userFault( i ) )
        return fault;
    return startUpFault();
  }

 private:
  // --- Qualifier sets ------------------------------------------------------------------------

  // ACL types that a mirroring group may get.
  std::vector< S32 > aclTypes( const ReservationData & user ) const {
    if ( !isMirroring( user ) )
      return { noAclType };
    std::vector< S32 > types = { Morvane::Acl::ip(), Morvane::Acl::mac() };
    if ( data_.attributes.ipv6MirroringSupported )
      types.push_back( Morvane::Acl::ip6() );
    return types;
  }

  QualifierSet qualifierSet( const ReservationData & user, S32 aclType ) const {
    Morvane::QualifierSetInput input;
    input.group = user.group;
    input.qualifiers = isMirroring( user ) ? Morvane::mirroringQualifiers(
                                                 aclType, data_.attributes.ipv6MirroringSupported )
                                           : listOf(
                                                 user.group, model_.numTcamGroups(),
                                                 [ & ]( U32 i ) { return model_.tcamGroup( i ); } );
    input.excludes = listOf(
        user.group, model_.numGroupExcludes(),
        [ & ]( U32 i ) { return model_.groupExcludes( i ); } );
    input.includes = listOf( user.group, model_.numGroupIncludes(),
                             [ & ]( U32 i ) { return model_.groupIncludes( i ); } );
    input.chip = data_.chipInfo;
    input.properties = properties_;
    return Morvane::makeQualifierSet( input );
  }

  // --- Groups --------------------------------------------------------------------------------

  U32 flowFields( U32 group ) const {
    const auto has = [ & ]( Morvane::TcamGroupAssignment assignment ) {
      return std::any_of( data_.reservations.begin(), data_.reservations.end(),
                          [ & ]( const ReservationData & user ) {
                            return user.group == group && user.assignment == assignment;
                          } );
    };
    return has( Morvane::openFlowUdfTcamGroup )        ? Morvane::plainFlowFields
           : has( Morvane::openFlowVxlanUdfTcamGroup ) ? Morvane::vxlanFlowFields
                                                       : 0;
  }

  // Creates the data qualifiers of a flow-programming group and adds them to its set. Returns the
  // SDK's result.
  int addFlowFields( SoftAsic::SoftAsic & chip, U32 group, bcm_field_qset_t & qset ) const {
    int rc = BCM_E_NONE;
    for ( U32 i = 0; rc >= 0 && i < flowFields( group ); ++i ) {
      bcm_field_data_qualifier_s field = {};
      field.offset_base = bcmFieldDataOffsetBaseOuterL3Header;
      field.offset = i * Morvane::flowFieldLength;
      field.length = Morvane::flowFieldLength;
      bcm_field_data_packet_format_s format = {};
      format.outer_ip = BCM_FIELD_DATA_FORMAT_IP4;
      rc = chip.bcm_field_data_qualifier_create( 0, &field );
      if ( rc >= 0 )
        rc = chip.bcm_field_data_qualifier_packet_format_add( 0, field.qual_id, &format );
      if ( rc >= 0 )
        rc = chip.bcm_field_qset_data_qualifier_add( 0, &qset, field.qual_id );
    }
    return rc;
  }

  U32 pipes( const QualifierSet & set ) const { return set.stageIngress ? model_.numPipe() : 1; }
  U32 copies( const QualifierSet & set ) const {
    return set.stageIngress && properties_.secondCopy ? 2 : 1;
  }

  // Creates all copies of a group as the library does: with a large slice first, then without.
  // Returns the SDK's result.
  int createGroup( SoftAsic::SoftAsic & chip, U32 group, const QualifierSet & set ) const {
    bcm_field_group_config_t config = {};
    config.flags = BCM_FIELD_GROUP_CREATE_WITH_ID;
    if ( copies( set ) == 2 ) {
      config.mode = bcmFieldGroupModePerCopy;
      config.flags |= BCM_FIELD_GROUP_CREATE_PER_COPY | BCM_FIELD_GROUP_CREATE_WITH_MODE;
    }
    config.qset = set.qset;
    const bool placedByPort =
        set.stageIngress && ( properties_.groupByPreselector || properties_.secondCopy );
    for ( U32 pipe = 0; pipe < pipes( set ); ++pipe ) {
      for ( U32 copy = 0; copy < copies( set ); ++copy ) {
        config.group = Morvane::tcamId( group, pipe, copy );
        if ( set.largeSlice && !placedByPort )
          config.flags |= BCM_FIELD_GROUP_CREATE_LARGE;
        int rc = chip.bcm_field_group_config_create( 0, &config );
        if ( rc < 0 ) {
          config.flags &= ~BCM_FIELD_GROUP_CREATE_LARGE;
          rc = chip.bcm_field_group_config_create( 0, &config );
        }
        if ( rc < 0 )
          return rc;
      }
    }
    return BCM_E_NONE;
  }

  // --- Users ---------------------------------------------------------------------------------

  std::optional< PlatformFault > userFault( U32 index ) {
    const ReservationData & user = data_.reservations[ index ];
    for ( const S32 aclType : aclTypes( user ) ) {
      const QualifierSet set = qualifierSet( user, aclType );
      std::string what = setFault( user, set );
      if ( what.empty() )
        what = placeFault( user, set, listsOf( aclType ) );
      if ( what.empty() )
        what = preselectorFault( user, set );
      if ( !what.empty() )
        return PlatformFault{ what, {}, index };
    }
    return std::nullopt;
  }

  std::string setFault( const ReservationData & user, const QualifierSet & set ) const {
    const auto stages =
        std::count_if( stageQualifiers.begin(), stageQualifiers.end(),
                       [ & ]( U32 qualifier ) { return set.qset.has( qualifier ); } );
    if ( stages > 1 )
      return fmt::format( "group {} names more than one stage", user.group );
    if ( set.stageIngress != ( stageOf( set.qset ) == StageKind::ifp ) )
      return fmt::format( "excludes and includes change the stage of group {}", user.group );
    const GroupData & group = *data_.group( user.group );
    const U32 address =
        group.match == GroupMatch::ipv4 ? bcmFieldQualifyDstIp : bcmFieldQualifyDstIp6;
    if ( data_.chipInfo.multicastWar && group.multicastWar && !set.qset.has( address ) )
      return fmt::format( "the multicast entry of group {} needs {}", user.group,
                          SoftAsic::qualifierName( address ) );
    return {};
  }

  std::string placeFault( const ReservationData & user, QualifierSet set,
                          const char * lists ) const {
    SoftAsic::SoftAsic chip;
    chip.addUnit( 0, data_.chip );
    const Shim::SdkLockGuard guard( chip );
    if ( addFlowFields( chip, user.group, set.qset ) < 0 )
      return fmt::format( "the chip cannot make the data qualifiers of group {}", user.group );
    const int rc = createGroup( chip, user.group, set );
    return rc < 0 ? refusal( user, set.qset, lists ) : std::string();
  }

  // Why an empty chip refused a group.
  std::string refusal( const ReservationData & user, const bcm_field_qset_t & qset,
                       const char * lists ) const {
    const StageKind kind = stageOf( qset );
    const char * const name = SoftAsic::stageName( kind );
    const auto stage =
        std::find_if( data_.chip.stages.begin(), data_.chip.stages.end(),
                      [ & ]( const StageProfile & profile ) { return profile.kind == kind; } );
    if ( stage == data_.chip.stages.end() )
      return fmt::format( "group {}{} needs {}, which the chip lacks", user.group, lists, name );
    const std::map< U32, U32 > bits =
        stage->keyBits.empty() ? SoftAsic::defaultKeyBits( data_.chip, kind ) : stage->keyBits;
    for ( U32 qualifier = 0; qualifier < bcmFieldQualifyCount; ++qualifier )
      if ( qset.has( qualifier ) && !bits.contains( qualifier ) &&
           std::find( stageQualifiers.begin(), stageQualifiers.end(), qualifier ) ==
               stageQualifiers.end() )
        return fmt::format( "group {}{} matches {}, which {} of the chip cannot", user.group, lists,
                            SoftAsic::qualifierName( qualifier ), name );
    return fmt::format( "the key of group {}{} fits no slice of {}", user.group, lists, name );
  }

  // Every copy of an ingress group holds a preselector while the group lives.
  std::string preselectorFault( const ReservationData & user, const QualifierSet & set ) {
    if ( !properties_.groupByPreselector || !set.stageIngress ||
         !counted_.insert( user.group ).second )
      return {};
    preselectors_ += pipes( set ) * copies( set );
    if ( preselectors_ <= data_.chip.preselectors )
      return {};
    return fmt::format( "the ingress groups up to here need {} preselectors; the chip has {}",
                        preselectors_, data_.chip.preselectors );
  }

  // --- Start-up ------------------------------------------------------------------------------

  // All instances of a stage are alike: creating the entries of the first copy is enough.
  std::optional< PlatformFault > startUpFault() const {
    SoftAsic::SoftAsic chip;
    chip.addUnit( 0, data_.chip );
    const Shim::SdkLockGuard guard( chip );
    std::map< U32, QualifierSet > created;
    const std::vector< EntryRange > ranges = entryRanges( data_ );
    for ( U32 i = 0; i < ranges.size(); ++i ) {
      const ReservationData & user = data_.reservations[ i ];
      if ( !Morvane::doAllocAtBeginning(
               user.strategy, user.group, data_.attributes.allocAtBeginning,
               data_.attributes.pdpModeEnabled, data_.chip.allocAtBeginning ) )
        continue;
      if ( !created.contains( user.group ) ) {
        QualifierSet set = qualifierSet( user, noAclType );
        if ( addFlowFields( chip, user.group, set.qset ) < 0 ||
             createGroup( chip, user.group, set ) < 0 )
          return PlatformFault{
              fmt::format( "start-up makes group {}, for which the chip has no room left",
                           user.group ),
              {},
              i };
        created[ user.group ] = set;
      }
      if ( !createRange( chip, user.group, created[ user.group ], ranges[ i ] ) &&
           user.strategy == Morvane::tcamAllocateAtBeginning )
        return PlatformFault{
            fmt::format( "start-up makes {} entries, which do not fit the chip", user.size ),
            {},
            i };
    }
    return std::nullopt;
  }

  // All entries of a range, or none.
  bool createRange( SoftAsic::SoftAsic & chip, U32 group, const QualifierSet & set,
                    const EntryRange & range ) const {
    const bool twins = Morvane::keepsTwins( set, properties_ );
    std::vector< U32 > made;
    for ( U32 entry = range.first; entry < range.end; ++entry ) {
      for ( const U32 id : { entry, Morvane::ovidTwinId( entry ) } ) {
        if ( id != entry && !twins )
          continue;
        if ( chip.bcm_field_entry_create_id( 0, group, id ) >= 0 ) {
          made.push_back( id );
          continue;
        }
        for ( const U32 done : made )
          chip.bcm_field_entry_destroy( 0, done );
        return false;
      }
    }
    return true;
  }

  const PlatformData & data_;
  PlatformModel & model_;
  const Morvane::ChipProperties properties_;
  std::set< U32 > counted_;  // groups whose preselectors are counted
  U32 preselectors_ = 0;
};

}  // namespace

std::optional< PlatformFault > checkChipFit( const PlatformData & data, PlatformModel & model ) {
  return ChipFit( data, model ).run();
}

}  // namespace Platform
