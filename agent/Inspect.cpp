#include "agent/Inspect.h"

#include <fmt/core.h>

#include "agent/EntityPath.h"
#include "agent/EntityView.h"
#include "agent/Run.h"
#include "kiv/GenericIf.h"

namespace Agent {

namespace {

class Inspection {
 public:
  Inspection( const std::string & rootName, const Kiv::Ptr< Kiv::Entity > & root )
      : rootName_( rootName ), root_( root ) {}

  void set( const std::string & assignment ) const {
    Kiv::StrepReader reader( assignment );
    const PathTarget target = readPath( rootName_, root_, reader );
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
    const PathTarget target = readPath( rootName_, root_, reader );
    reader.expectEnd();
    target.requireMember();
    return json ? entityJson( target ) : entityText( path, target );
  }

 private:
  const std::string & rootName_;
  const Kiv::Ptr< Kiv::Entity > & root_;
};

// What the object model throws is about what the user asked for.
template < class F >
auto asked( const std::string & what, F function ) {
  try {
    return function();
  } catch ( const Kiv::Exception & error ) {
    throw UsageError( fmt::format( "{}: {}", what, error.what() ) );
  }
}

}  // namespace

std::string inspect( const std::string & rootName, const Kiv::Ptr< Kiv::Entity > & root,
                     const InspectOptions & options ) {
  const Inspection inspection( rootName, root );
  for ( const std::string & assignment : options.sets )
    asked( "--set " + assignment, [ & ] { inspection.set( assignment ); } );
  const std::string & path = options.path.empty() ? rootName : options.path;
  return asked( path, [ & ] { return inspection.show( path, options.json ); } );
}

}  // namespace Agent
