#include "sdkrecord/ChipText.h"

#include <fmt/format.h>

#include <algorithm>

#include "softasic/QualifierNames.h"

namespace SdkRecord {

namespace {

using SoftAsic::ChipProfile;
using SoftAsic::SliceProfile;
using SoftAsic::StageKind;
using SoftAsic::StageProfile;

std::vector< Leaf > chipLeaves( U32 & unit, ChipProfile & chip ) {
  return { { "unit", numberAt( unit ) },
           { "name", &chip.name },
           { "pipes", numberAt( chip.pipes ) },
           { "portsPerPipe", numberAt( chip.portsPerPipe ) },
           { "sharedByPipes", numberAt( chip.sharedByPipes ) },
           { "secondCopy", numberAt( chip.secondCopy ) },
           { "groupByPreselector", numberAt( chip.groupByPreselector ) },
           { "udfShort", numberAt( chip.udfShort ) },
           { "allocAtBeginning", numberAt( chip.allocAtBeginning ) },
           { "singlePortKey", numberAt( chip.singlePortKey ) },
           { "ingressHalfSize", numberAt( chip.ingressHalfSize ) },
           { "preselectors", numberAt( chip.preselectors ) },
           { "fixedGroupKeys", numberAt( chip.fixedGroupKeys ) },
           { "statistics", numberAt( chip.statistics ) },
           { "rangeCheckers", numberAt( chip.rangeCheckers ) },
           { "policers", numberAt( chip.policers ) },
           { "dataChunks", numberAt( chip.dataChunks ) },
           { "dataFormats", numberAt( chip.dataFormats ) } };
}

std::string slicesText( const std::vector< SliceProfile > & slices ) {
  std::vector< std::string > parts;
  parts.reserve( slices.size() );
  for ( const SliceProfile & slice : slices )
    parts.push_back( fmt::format( "{}x{}x{}{}", slice.count, slice.depth, slice.keyBits,
                                  slice.large ? "L" : "" ) );
  return fmt::format( "[{}]", fmt::join( parts, "," ) );
}

std::string keyBitsText( const std::map< U32, U32 > & keyBits ) {
  std::vector< std::string > parts;
  for ( const auto & [ number, bits ] : keyBits ) {
    const char * const name = SoftAsic::qualifierName( number );
    parts.push_back(
        fmt::format( "{}:{}", name != nullptr ? name : std::to_string( number ), bits ) );
  }
  return fmt::format( "[{}]", fmt::join( parts, "," ) );
}

U32 smallNumber( std::string_view text ) {
  U32 number = 0;
  Leaf{ "", numberAt( number ) }.read( text );
  return number;
}

// Up to the separator, which is taken off with it.
std::string_view upTo( std::string_view & text, char separator ) {
  const size_t at = text.find( separator );
  if ( at == text.npos )
    throw FormError( fmt::format( "\"{}\" has no {}", text, separator ) );
  const std::string_view part = text.substr( 0, at );
  text.remove_prefix( at + 1 );
  return part;
}

SliceProfile sliceOf( std::string_view text ) {
  SliceProfile slice;
  slice.large = text.ends_with( 'L' );
  if ( slice.large )
    text.remove_suffix( 1 );
  slice.count = smallNumber( upTo( text, 'x' ) );
  slice.depth = smallNumber( upTo( text, 'x' ) );
  slice.keyBits = smallNumber( text );
  return slice;
}

std::pair< U32, U32 > keyBitsOf( std::string_view text ) {
  const std::string_view name = upTo( text, ':' );
  const auto number = SoftAsic::qualifierNumber( std::string( name ) );
  return { number ? *number : smallNumber( name ), smallNumber( text ) };
}

StageKind kindOf( std::string_view name ) {
  for ( const StageKind kind : { StageKind::vfp, StageKind::ifp, StageKind::efp } )
    if ( name == SoftAsic::stageName( kind ) )
      return kind;
  throw FormError( fmt::format( "\"{}\" is no stage: VFP, IFP or EFP", name ) );
}

}  // namespace

std::string chipText( U32 unit, ChipProfile chip ) {
  std::string text = "chip";
  for ( const Leaf & leaf : chipLeaves( unit, chip ) )
    text += fmt::format( " {}={}", leaf.path, leaf.text() );
  text += '\n';
  for ( const StageProfile & stage : chip.stages )
    text += fmt::format( "stage unit={} kind={} slices={} doubleWide={:d} paired={:d} keyBits={}\n",
                         unit, SoftAsic::stageName( stage.kind ), slicesText( stage.slices ),
                         stage.doubleWide, stage.paired, keyBitsText( stage.keyBits ) );
  return text;
}

ChipProfile readChip( Words & words, U32 & unit ) {
  ChipProfile chip;
  words.read( chipLeaves( unit, chip ) );
  return chip;
}

StageProfile readStage( Words & words, U32 & unit ) {
  StageProfile stage;
  words.read( { { "unit", numberAt( unit ) } } );
  stage.kind = kindOf( words.value( "kind" ) );
  forEachPart( words.value( "slices" ),
               [ & ]( std::string_view part ) { stage.slices.push_back( sliceOf( part ) ); } );
  words.read(
      { { "doubleWide", numberAt( stage.doubleWide ) }, { "paired", numberAt( stage.paired ) } } );
  forEachPart( words.value( "keyBits" ),
               [ & ]( std::string_view part ) { stage.keyBits.insert( keyBitsOf( part ) ); } );
  return stage;
}

}  // namespace SdkRecord
