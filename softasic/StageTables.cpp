#include "softasic/StageTables.h"

namespace SoftAsic {

StageTable::StageTable( const StageProfile & profile, const ChipProfile & chip, U32 pipeIndex,
                        U32 copyIndex )
    : kind( profile.kind ),
      pipe( pipeIndex ),
      copy( copyIndex ),
      perPipe( profile.kind == StageKind::ifp && !chip.sharedByPipes ),
      keyBits( profile.keyBits.empty() ? defaultKeyBits( chip, profile.kind ) : profile.keyBits ),
      pool( profile, profile.kind == StageKind::ifp && chip.ingressHalfSize ),
      stats( chip.statistics ),
      freeStats( chip.statistics ) {}

StageTables::StageTables( const ChipProfile & chip )
    : pipes_( chip.sharedByPipes ? 1 : chip.pipes ), copies_( chip.secondCopy ? 2 : 1 ) {
  for ( const StageProfile & stage : chip.stages ) {
    const bool perPipe = stage.kind == StageKind::ifp && !chip.sharedByPipes;
    for ( U32 pipe = 0; pipe < ( perPipe ? pipes_ : 1 ); ++pipe )
      for ( U32 copy = 0; copy < ( perPipe ? copies_ : 1 ); ++copy )
        tables_[ static_cast< U32 >( stage.kind ) ].emplace_back( stage, chip, pipe, copy );
  }
}

StageTable * StageTables::forGroup( StageKind stage, U32 groupId ) {
  auto & tables = tables_[ static_cast< U32 >( stage ) ];
  if ( tables.empty() || !idWellFormed( groupId ) )
    return nullptr;
  if ( !tables.front().perPipe )
    return idInstance( groupId ) == 0 ? &tables.front() : nullptr;
  if ( idPipe( groupId ) >= pipes_ || idCopy( groupId ) >= copies_ )
    return nullptr;
  return &tables[ idPipe( groupId ) * copies_ + idCopy( groupId ) ];
}

StageTable * StageTables::forPort( StageKind stage, const Ports & ports, U32 port ) {
  auto & tables = tables_[ static_cast< U32 >( stage ) ];
  if ( tables.empty() )
    return nullptr;
  if ( !tables.front().perPipe )
    return &tables.front();
  return &tables[ ports.pipeOf( port ) * copies_ + ports.copyOf( port ) ];
}

}  // namespace SoftAsic
