#include "morvane/MorvaneTcamManager/QualifierSet.h"

#include "kiv/Assert.h"
#include "morvane/AclType.h"
#include "morvane/MorvaneTcamManager/MirroringQualifiers.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkShim.h"

namespace Morvane {

const U32 * mirroringQualifiers( S32 aclType, bool ipv6MirroringSupported ) {
  const S32 mirAclType = aclType == -1 ? Acl::ip() : aclType;
  if ( mirAclType == Acl::ip6() && ipv6MirroringSupported )
    return mirroringIp6Qualifiers;
  KIV_ASSERT( ( mirAclType == Acl::ip() ) || ( mirAclType == Acl::mac() ) );
  return mirAclType == Acl::mac() ? mirroringMacQualifiers : mirroringIpQualifiers;
}

ChipProperties chipProperties( U32 unit ) {
  Shim::SdkShim & sdk = Shim::sdkShim();
  return { sdk.kelmor_field_shared_by_pipes( unit ), sdk.kelmor_field_second_copy( unit ),
           sdk.kelmor_field_group_by_preselector( unit ) };
}

GroupKind groupKind( const U32 * qualifiers ) {
  GroupKind kind;
  for ( ; *qualifiers != bcmFieldQualifyCount; ++qualifiers ) {
    switch ( *qualifiers ) {
      case bcmFieldQualifyStageLookup:
      case bcmFieldQualifyStageEgress:
        kind.stageIngress = false;
        kind.largeSlice = false;
        break;
      case bcmFieldQualifyInPort:
      case bcmFieldQualifyInPorts:
      case bcmFieldQualifyInPortsClass:
        kind.matchesNoPort = false;
        break;
      case bcmFieldQualifyOuterVlanId:
        kind.matchesOuterVlan = true;
        break;
      default:
        break;
    }
  }
  return kind;
}

namespace {

class QualifierSetMaker {
 public:
  QualifierSetMaker( const QualifierSetInput & input, const QualifierTrace * trace )
      : input_( input ), trace_( trace ) {}

  QualifierSet make() {
    static_cast< GroupKind & >( set_ ) = groupKind( input_.qualifiers );
    addList( input_.qualifiers );
    if ( input_.excludes != nullptr )
      removeList( input_.excludes );
    if ( input_.includes != nullptr )
      addList( input_.includes );
    adjustForChip();
    return set_;
  }

 private:
  // The SDK's set does not check its index.
  static U32 known( U32 qualifier ) {
    KIV_ASSERT( qualifier < bcmFieldQualifyCount );
    return qualifier;
  }

  bool has( U32 qualifier ) const {
    return Shim::Fields::qualifierHas( set_.qset, known( qualifier ) );
  }
  void add( U32 qualifier ) { Shim::Fields::qualifierAdd( set_.qset, known( qualifier ) ); }
  void remove( U32 qualifier ) { Shim::Fields::qualifierDel( set_.qset, known( qualifier ) ); }

  void addList( const U32 * qualifiers ) {
    for ( ; *qualifiers != bcmFieldQualifyCount; ++qualifiers ) {
      note( " adding qual=", *qualifiers );
      add( *qualifiers );
    }
  }

  void removeList( const U32 * qualifiers ) {
    for ( ; *qualifiers != bcmFieldQualifyCount; ++qualifiers ) {
      note( " removing qual=", *qualifiers );
      remove( *qualifiers );
    }
  }

  void note( const char * step, U32 qualifier ) const {
    if ( trace_ != nullptr )
      MORVANE_TRACE( traceDetail )
          << "Unit: " << trace_->unit << " " << trace_->operation << step << qualifier;
  }

  void replace( U32 from, U32 to ) {
    if ( !has( from ) )
      return;
    remove( from );
    add( to );
  }

  void adjustForChip() {
    const MorvaneCentral::ChipInfo & chip = input_.chip;
    const ChipProperties & properties = input_.properties;
    if ( chip.qualifierSwap && set_.matchesOuterVlan && set_.matchesNoPort )
      replace( chip.swapFrom, chip.swapTo );
    if ( chip.extraQualifier != 0 )
      add( chip.extraQualifier );
    tcamGroupQsetExcludes( &set_.qset, input_.group, chip.excludeTtl, chip.excludeRangeChecks,
                           properties.groupByPreselector, properties.secondCopy );
    // Per-copy tables hold the ports in their class form.
    if ( properties.secondCopy )
      replace( bcmFieldQualifyInPorts, bcmFieldQualifyInPortsClass );
    // A twin matches on a subset of the entry's ports.
    if ( keepsTwins( set_, properties ) )
      add( bcmFieldQualifyInPorts );
  }

  const QualifierSetInput & input_;
  const QualifierTrace * trace_;
  QualifierSet set_;
};

}  // namespace

QualifierSet makeQualifierSet( const QualifierSetInput & input, const QualifierTrace * trace ) {
  return QualifierSetMaker( input, trace ).make();
}

}  // namespace Morvane
