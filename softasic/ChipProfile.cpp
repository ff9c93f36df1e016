#include "softasic/ChipProfile.h"

#include <array>
#include <utility>

#include "softasic/KeyLayout.h"

namespace SoftAsic {

namespace {

constexpr U32 preselectorsMax = BCM_FIELD_PRESEL_MAX;
constexpr U32 statisticsMax = 1U << 20;
constexpr U32 policersMax = 1U << 16;
constexpr U32 dataFormatsMax = 1U << 16;
constexpr U32 sliceDepthMax = 65536;
constexpr U32 sliceKeyBitsMax = 2048;
constexpr U32 qualifierBitsMax = 512;

bool isStageQualifier( U32 qual ) {
  return qual == bcmFieldQualifyStageIngress || qual == bcmFieldQualifyStageLookup ||
         qual == bcmFieldQualifyStageEgress;
}

std::string validateSlices( const StageProfile & stage, const std::string & where ) {
  U32 total = 0;
  for ( size_t i = 0; i < stage.slices.size(); ++i ) {
    const SliceProfile & slice = stage.slices[ i ];
    const std::string field = where + ".slices[" + std::to_string( i ) + "]";
    if ( slice.count == 0 || slice.count > KELMOR_TCAM_SLICES_MAX )
      return field + ".count: must be 1 to " + std::to_string( KELMOR_TCAM_SLICES_MAX );
    if ( slice.depth == 0 || slice.depth > sliceDepthMax )
      return field + ".depth: must be 1 to " + std::to_string( sliceDepthMax );
    if ( slice.keyBits == 0 || slice.keyBits > sliceKeyBitsMax )
      return field + ".keyBits: must be 1 to " + std::to_string( sliceKeyBitsMax );
    total += slice.count;
  }
  if ( total == 0 || total > KELMOR_TCAM_SLICES_MAX )
    return where + ".slices: a stage has 1 to " + std::to_string( KELMOR_TCAM_SLICES_MAX ) +
           " slices, not " + std::to_string( total );
  return {};
}

std::string validateStage( const StageProfile & stage ) {
  const std::string where = std::string( "stage " ) + stageName( stage.kind );
  for ( const auto & [ qual, bits ] : stage.keyBits ) {
    const std::string field = where + ".keyBits[" + std::to_string( qual ) + "]";
    if ( qual >= bcmFieldQualifyCount )
      return field + ": no such qualifier";
    if ( bits > qualifierBitsMax )
      return field + ": must be at most " + std::to_string( qualifierBitsMax );
    if ( isStageQualifier( qual ) && bits != 0 )
      return field + ": a stage qualifier costs no key bits";
    if ( qual == bcmFieldQualifyRangeCheck && stage.kind != StageKind::ifp )
      return field + ": range checkers serve ingress stages only";
    if ( qual == bcmFieldQualifyOutPort && stage.kind != StageKind::efp )
      return field + ": packets have an egress port in egress stages only";
  }
  return validateSlices( stage, where );
}

}  // namespace

const char * stageName( StageKind kind ) {
  switch ( kind ) {
    case StageKind::vfp:
      return "VFP";
    case StageKind::ifp:
      return "IFP";
    case StageKind::efp:
      return "EFP";
  }
  return "unknown";
}

std::string ChipProfile::validate() const {
  if ( pipes == 0 || pipes > BCM_PIPES_MAX )
    return "pipes: must be 1 to " + std::to_string( BCM_PIPES_MAX );
  if ( portsPerPipe == 0 || portsPerPipe > BCM_PBMP_PORT_MAX / pipes )
    return "portsPerPipe: must be 1 or more, and at most " + std::to_string( BCM_PBMP_PORT_MAX ) +
           " ports in all pipes";
  if ( sharedByPipes && secondCopy )
    return "secondCopy: tables that are shared by pipes have no second copy";
  const struct {
    const char * field;
    U32 value;
    U32 max;
  } limits[] = { { "preselectors", preselectors, preselectorsMax },
                 { "statistics", statistics, statisticsMax },
                 { "rangeCheckers", rangeCheckers, rangeCheckersMax },
                 { "policers", policers, policersMax },
                 { "dataChunks", dataChunks, dataChunksMax },
                 { "dataFormats", dataFormats, dataFormatsMax } };
  for ( const auto & [ field, value, max ] : limits )
    if ( value > max )
      return std::string( field ) + ": must be at most " + std::to_string( max );
  if ( stages.empty() )
    return "stages: a chip has at least one";
  std::array< bool, stageKinds > seen = {};
  for ( const StageProfile & stage : stages ) {
    if ( static_cast< U32 >( stage.kind ) >= stageKinds )
      return "stages: no such kind";
    if ( std::exchange( seen[ static_cast< U32 >( stage.kind ) ], true ) )
      return std::string( "stages: " ) + stageName( stage.kind ) + " is there twice";
    if ( std::string error = validateStage( stage ); !error.empty() )
      return error;
    if ( stage.kind == StageKind::ifp && ingressHalfSize && ( !stage.doubleWide || stage.paired ) )
      return "ingressHalfSize: the slices of IFP must be doubleWide, and not paired";
  }
  return {};
}

std::map< U32, U32 > defaultKeyBits( const ChipProfile & chip, StageKind kind ) {
  std::map< U32, U32 > bits = {
      { bcmFieldQualifySrcIp6, 128 },      { bcmFieldQualifyDstIp6, 128 },
      { bcmFieldQualifySrcIp6High, 64 },   { bcmFieldQualifyDstIp6High, 64 },
      { bcmFieldQualifyDstMac, 48 },       { bcmFieldQualifySrcMac, 48 },
      { bcmFieldQualifySrcIp, 32 },        { bcmFieldQualifyDstIp, 32 },
      { bcmFieldQualifyOuterVlanPri, 3 },  { bcmFieldQualifyInnerVlanId, 12 },
      { bcmFieldQualifyOuterVlanId, 12 },  { bcmFieldQualifyEtherType, 16 },
      { bcmFieldQualifyIpType, 3 },        { bcmFieldQualifyIpProtocol, 8 },
      { bcmFieldQualifyDSCP, 8 },          { bcmFieldQualifyTtl, 8 },
      { bcmFieldQualifyIpFrag, 2 },        { bcmFieldQualifyL4SrcPort, 16 },
      { bcmFieldQualifyL4DstPort, 16 },    { bcmFieldQualifyTcpControl, 8 },
      { bcmFieldQualifyIcmpTypeCode, 16 },
  };
  if ( kind == StageKind::efp ) {
    bits[ bcmFieldQualifyOutPort ] = 8;  // in place of the ingress port
    return bits;
  }
  const bool perPipe = kind == StageKind::ifp && !chip.sharedByPipes;
  bits[ bcmFieldQualifyInPort ] = 8;
  if ( kind == StageKind::ifp && chip.rangeCheckers != 0 )
    bits[ bcmFieldQualifyRangeCheck ] = chip.rangeCheckers;
  if ( kind == StageKind::ifp && chip.singlePortKey )
    return bits;
  bits[ bcmFieldQualifyInPorts ] = perPipe ? chip.portsPerPipe : chip.ports();
  if ( chip.secondCopy )
    bits[ bcmFieldQualifyInPortsClass ] = ( chip.portsPerPipe + 1 ) / 2;
  return bits;
}

}  // namespace SoftAsic
