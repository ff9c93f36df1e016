#include "agent/feature/GroupFields.h"

#include <fmt/core.h>

#include <algorithm>

#include "agent/feature/AclShares.h"
#include "kiv/Assert.h"
#include "platform/InputError.h"

namespace Agent {

namespace {

constexpr U8 fieldSize = 4;
constexpr U32 noEtherType = 0xFFFFFFFF;

Morvane::UdfOffsetBase baseOf( const UdfMatch & udf ) {
  switch ( udf.base ) {
    case UdfBase::l2End:
      return Morvane::UdfBaseL2HeaderEnd;
    case UdfBase::l3Start:
      return Morvane::UdfBaseL3HeaderStart;
    case UdfBase::l3End:
      return Morvane::UdfBaseL3HeaderEnd;
  }
  return Morvane::UdfBasePacketStart;
}

U32 etherTypeOf( const AclRule & rule ) {
  const bool several =
      std::any_of( rule.alternatives.begin(), rule.alternatives.end(),
                   []( const Alternative & other ) { return other.field == FieldId::etherType; } );
  return rule.etherType.mask == 0xFFFF && !several ? rule.etherType.value : noEtherType;
}

}  // namespace

GroupFields::GroupFields( Morvane::MorvaneTcamGroupManager & groupManager,
                          Morvane::MorvaneTcamEntryManager & manager, U32 unit, AclKind kind,
                          AclUse use )
    : groupManager_( groupManager ),
      manager_( manager ),
      unit_( unit ),
      kind_( kind ),
      use_( use ) {}

void GroupFields::prepareGroup( const Acl & acl ) {
  if ( use_ == AclUse::mirror )
    groupManager_.groupMirroringAclTypeIs( static_cast< U8 >( manager_.group() ),
                                           aclTypeOf( kind_ ) );
  if ( use_ == AclUse::flow || use_ == AclUse::flowVxlan )
    groupManager_.openFlowUdfIpProtoIs( acl.flowProtocol );
}

Morvane::GroupUdfCreateStatus GroupFields::acquire( const AclRule & rule, const UdfMatch & udf ) {
  return manager_
      .setMirroringAclUdf( unit_, aclTypeOf( kind_ ), etherTypeOf( rule ), baseOf( udf ),
                           udf.offset, fieldSize, true )
      .udfCreateStatus;
}

void GroupFields::release( const AclRule & rule, const UdfMatch & udf ) {
  manager_.setMirroringAclUdf( unit_, aclTypeOf( kind_ ), etherTypeOf( rule ), baseOf( udf ),
                               udf.offset, fieldSize, false );
}

std::vector< DataMatch > GroupFields::matches( const Acl & acl, const AclRule & rule ) const {
  std::vector< DataMatch > result;
  for ( const UdfMatch & udf : rule.udf ) {
    const S32 qualifier = qualifierOf( rule, udf );
    if ( qualifier <= 0 )
      throw Platform::InputError(
          acl.file, rule.line,
          fmt::format( "the group has no field at offset {} of the L3 header; it has {}",
                       udf.fromL3(), offsets() ) );
    result.push_back( { qualifier, udf.value, udf.mask } );
  }
  return result;
}

S32 GroupFields::qualifierOf( const AclRule & rule, const UdfMatch & udf ) const {
  if ( use_ == AclUse::mirror )
    return manager_.getMirroringAclUdf( unit_, aclTypeOf( kind_ ), etherTypeOf( rule ),
                                        baseOf( udf ), udf.offset, fieldSize );
  const auto walk = [ & ]( auto it ) {
    for ( ; it; ++it ) {
      const Morvane::UdfUnitSpec spec = it.value();
      if ( spec.unit == unit_ && spec.offset == udf.fromL3() )
        return spec.qualId;
    }
    return -1;
  };
  return use_ == AclUse::flow ? walk( groupManager_.openFlowAclUdfIterConst() )
                              : walk( groupManager_.openFlowVxlanAclUdfIterConst() );
}

std::string GroupFields::offsets() const {
  std::string text;
  const auto walk = [ & ]( auto it ) {
    for ( ; it; ++it )
      if ( it.value().unit == unit_ )
        text += fmt::format( "{}{}", text.empty() ? "" : ", ", it.value().offset );
  };
  if ( use_ == AclUse::flow )
    walk( groupManager_.openFlowAclUdfIterConst() );
  else
    walk( groupManager_.openFlowVxlanAclUdfIterConst() );
  return text;
}

}  // namespace Agent
