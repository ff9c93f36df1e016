#include "sdkrecord/Arguments.h"

#include <algorithm>
#include <map>

namespace SdkRecord {

namespace {

using Shim::SdkOp;

struct IdName {
  std::string_view name;
  IdKind id;
};

constexpr IdName idNames[] = {
    { "group", IdKind::group }, { "entry", IdKind::entry },     { "from", IdKind::entry },
    { "to", IdKind::entry },    { "presel", IdKind::presel },   { "stat", IdKind::stat },
    { "range", IdKind::range }, { "policer", IdKind::policer }, { "qual_id", IdKind::data } };

struct Maker {
  SdkOp op;
  IdKind creates, destroys;
};

constexpr Maker makers[] = {
    { SdkOp::bcm_field_group_config_create, IdKind::group, IdKind::none },
    { SdkOp::bcm_field_group_destroy, IdKind::none, IdKind::group },
    { SdkOp::bcm_field_presel_create, IdKind::presel, IdKind::none },
    { SdkOp::bcm_field_presel_destroy, IdKind::none, IdKind::presel },
    { SdkOp::bcm_field_entry_create, IdKind::entry, IdKind::none },
    { SdkOp::bcm_field_entry_create_id, IdKind::entry, IdKind::none },
    { SdkOp::bcm_field_entry_destroy, IdKind::none, IdKind::entry },
    { SdkOp::bcm_field_stat_create, IdKind::stat, IdKind::none },
    { SdkOp::bcm_field_stat_destroy, IdKind::none, IdKind::stat },
    { SdkOp::bcm_policer_create, IdKind::policer, IdKind::none },
    { SdkOp::bcm_policer_destroy, IdKind::none, IdKind::policer },
    { SdkOp::bcm_field_range_create, IdKind::range, IdKind::none },
    { SdkOp::bcm_field_range_destroy, IdKind::none, IdKind::range },
    { SdkOp::bcm_field_data_qualifier_create, IdKind::data, IdKind::none },
    { SdkOp::bcm_field_data_qualifier_destroy, IdKind::none, IdKind::data },
};

std::vector< Operation > makeOperations() {
  std::vector< Operation > all = {
#define SDK_OP( name, params, args )                           \
  { SdkOp::name, #name, SdkText::argumentNames( SdkOp::name ), \
    []() -> std::unique_ptr< Arguments > { return argumentsOf( &Shim::SdkShim::name ); } },
#include "shim/SdkOperations.inc"
  };
  for ( const Maker & maker : makers ) {
    all[ static_cast< U32 >( maker.op ) ].creates = maker.creates;
    all[ static_cast< U32 >( maker.op ) ].destroys = maker.destroys;
  }
  return all;
}

const std::vector< Operation > & operations() {
  static const std::vector< Operation > all = makeOperations();
  return all;
}

}  // namespace

IdKind Operation::idOf( size_t argument ) const {
  const auto * const found =
      std::find_if( std::begin( idNames ), std::end( idNames ),
                    [ & ]( const IdName & each ) { return each.name == arguments[ argument ]; } );
  return found == std::end( idNames ) ? IdKind::none : found->id;
}

const Operation & operationOf( SdkOp op ) {
  return operations()[ static_cast< U32 >( op ) ];
}

const Operation * operationNamed( std::string_view name ) {
  static const std::map< std::string_view, const Operation * > byName = [] {
    std::map< std::string_view, const Operation * > names;
    for ( const Operation & operation : operations() )
      names[ operation.name ] = &operation;
    return names;
  }();
  const auto found = byName.find( name );
  return found == byName.end() ? nullptr : found->second;
}

}  // namespace SdkRecord
