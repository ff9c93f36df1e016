#include "agent/command/Inspect.h"

#include <fmt/core.h>

#include "agent/command/UsageError.h"
#include "agent/report/EntityView.h"
#include "kiv/GenericIf.h"

namespace Agent {

namespace {

class Inspection {
 public:
  explicit Inspection( const EntityRoots & roots ) : roots_( roots ) {}

  void set( const std::string & assignment ) const {
    Kiv::StrepReader reader( assignment );
    const PathTarget target = readPath( roots_, reader );
    reader.expect( "=" );
    if ( target.attribute == nullptr )
      throw Kiv::TypeException( "an entity cannot be set, only its attributes" );
    const Kiv::Any value = target.attribute->valueType().fromStrRep( reader.rest() );
    Kiv::GenericIf( target.entity )
        .genericIfAttributeOp( target.attribute->name(), Kiv::AttributeOp::write, target.key,
                               value );
  }

  std::string show( const std::string & path, bool json ) const {
    Kiv::StrepReader reader( path );
    const PathTarget target = readPath( roots_, reader );
    reader.expectEnd();
    target.requireMember();
    return json ? entityJson( target ) : entityText( path, target );
  }

  std::string showAll( bool json ) const {
    if ( json )
      return rootsJson( roots_ );
    std::string text;
    for ( const EntityRoot & root : roots_ )
      text += show( root.name, false );
    return text;
  }

 private:
  const EntityRoots & roots_;
};

// Exceptions of the object model are caused by the user's input.
template < class F >
auto asked( const std::string & what, F function ) {
  try {
    return function();
  } catch ( const Kiv::Exception & error ) {
    throw UsageError( fmt::format( "{}: {}", what, error.what() ) );
  }
}

}  // namespace

std::string inspect( const EntityRoots & roots, const InspectOptions & options ) {
  const Inspection inspection( roots );
  for ( const std::string & assignment : options.sets )
    asked( "--set " + assignment, [ & ] { inspection.set( assignment ); } );
  if ( options.path.empty() )
    return inspection.showAll( options.json );
  return asked( options.path, [ & ] { return inspection.show( options.path, options.json ); } );
}

}  // namespace Agent
