// Published functions: the operations of an entity that generic tools call by name.
//
//   const Kiv::OperationTable & Counter::operationTable() const {
//     static constexpr Kiv::Operation own[] = {
//         Kiv::operation< &Counter::reset >( "reset" ),
//     };
//     static constexpr Kiv::OperationTable table{ own };
//     return table;
//   }
//
// Parameters and result are of types that Kiv::Any wraps. A class whose base publishes too names
// the base's table as the second member: `static const OperationTable table{ own,
// &Base::operationTable() }`; its own functions hide the base's of the same name.
//
// Calls are made through Kiv::GenericIf. Cost: none to the entity.
#pragma once

#include <span>
#include <string_view>
#include <type_traits>
#include <utility>

#include "kiv/Any.h"
#include "kiv/Entity.h"
#include "kiv/Export.h"

namespace Kiv {

struct Operation {
  const char * name;
  U32 parameters;
  // Throws TypeException unless there is an argument of the right type for each parameter. The
  // result is nothing for a function without one.
  Any ( *call )( const Operation & operation, Entity & entity, std::span< const Any > arguments );
};

struct OperationTable {
  std::span< const Operation > own = {};
  const OperationTable * base = nullptr;

  // Null when there is none.
  KIV_API const Operation * find( std::string_view name ) const;
};

// How exceptions call a parameter; `index` counts from 0.
KIV_API String8 parameterText( const Operation & operation, std::size_t index );
KIV_API void requireArguments( const Operation & operation, std::size_t given );

template < auto function, class C, class R, class... A >
constexpr Operation operationOf( const char * name ) {
  constexpr auto call = []( const Operation & operation, Entity & entity,
                            std::span< const Any > arguments ) -> Any {
    requireArguments( operation, arguments.size() );
    return [ & ]< std::size_t... I >( std::index_sequence< I... > )->Any {
      const auto invoke = [ & ] {
        return ( static_cast< C & >( entity ).*function )( unwrap< std::decay_t< A > >(
            arguments[ I ], [ & ] { return parameterText( operation, I ); } )... );
      };
      if constexpr ( std::is_void_v< R > ) {
        invoke();
        return Any();
      } else {
        return wrap< std::decay_t< R > >( invoke() );
      }
    }
    ( std::index_sequence_for< A... >() );
  };
  return { name, sizeof...( A ), call };
}

template < auto function, class C, class R, class... A >
constexpr Operation operationOf( const char * name, R ( C::* )( A... ) ) {
  return operationOf< function, C, R, A... >( name );
}
template < auto function, class C, class R, class... A >
constexpr Operation operationOf( const char * name, R ( C::* )( A... ) const ) {
  return operationOf< function, const C, R, A... >( name );
}

// The operation that calls a member function under a name.
template < auto function >
constexpr Operation operation( const char * name ) {
  return operationOf< function >( name, function );
}

}  // namespace Kiv
