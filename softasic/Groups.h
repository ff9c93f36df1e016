// Groups of a unit by id. See Group.h for the chip rules.
#pragma once

#include <map>
#include <memory>
#include <optional>

#include "softasic/DataQualifiers.h"
#include "softasic/Group.h"
#include "softasic/Presels.h"

namespace SoftAsic {

class Groups {
 public:
  // The arguments must outlive this object.
  Groups( const ChipProfile & chip, const Ports & ports, Presels & presels, DataQualifiers & data,
          StageTables & tables )
      : chip_( chip ), ports_( ports ), presels_( presels ), data_( data ), tables_( tables ) {}

  // Sets the id in `config` if the chip chooses it.
  int create( bcm_field_group_config_t * config );
  int destroy( U32 id );
  int setQualifiers( U32 id, const bcm_field_qset_t & qset );

  Group * find( U32 id );  // null: no such group
  const Group * find( U32 id ) const { return const_cast< Groups * >( this )->find( id ); }

  template < class F >
  void forEach( F && fn ) const {
    for ( const auto & [ id, group ] : groups_ )
      fn( *group );
  }

 private:
  void add( std::unique_ptr< Group > group );
  int chooseId( bcm_field_group_config_t & config ) const;
  int checkMode( const bcm_field_group_config_t & config, const StageTable & table ) const;
  int checkPorts( const bcm_field_group_config_t & config, const StageTable & table ) const;
  std::optional< U32 > keyBitsOf( const bcm_field_qset_t & qset, const StageTable & table ) const;
  std::optional< SliceDemand > demandOf( const bcm_field_group_config_t & config,
                                         const StageTable & table ) const;
  KeyLayout layoutOf( const bcm_field_qset_t & qset ) const {
    return KeyLayout( qset, ports_.count(), data_.fields( qset ) );
  }

  const ChipProfile & chip_;
  const Ports & ports_;
  Presels & presels_;
  DataQualifiers & data_;
  StageTables & tables_;
  std::map< U32, std::unique_ptr< Group > > groups_;
};

}  // namespace SoftAsic
