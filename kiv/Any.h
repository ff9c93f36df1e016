// Kiv::Any: a value of any type that has a text form, wrapped for generic tools, and Kiv::Type:
// what is known of that type.
//
//   Kiv::Any port( U32( 7 ) );
//   port.as< U32 >()                                       // 7; another type throws TypeException
//   port.strep()                                           // "7"
//   Kiv::typeOf< Colour >().fromStrRep( "green" )          // an Any that holds green
//
// Invariants: a wrapped value never changes; copies share it. Types are the same by their C++ type,
// in whatever library they were wrapped; integers by their width and sign, so that a long long and
// an S64 are the same. Entities are wrapped as Ptr< Entity > whatever their class and may be null.
//
// When not to use it: where the type is known.
//
// Locks: as for Kiv::Ptr.
#pragma once

#include <concepts>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "kiv/Entity.h"
#include "kiv/Exception.h"
#include "kiv/Export.h"
#include "kiv/Hash.h"
#include "kiv/Ptr.h"
#include "kiv/Strep.h"
#include "kiv/StrepParse.h"

namespace Kiv {

class Type;
struct AnyPart;

// The type under which Any holds a T.
template < class T >
struct AnyHeld {
  using Held = T;
};
template < std::integral T >
requires( !std::same_as< T, bool > ) struct AnyHeld< T > {
  using Held = FixedWidth< T >;
};
template < class T >
using Held = typename AnyHeld< T >::Held;

enum class AnyKind : U32 { integer, boolean, text, enumeration, record, entity };

class KIV_API Any {
 public:
  // The held value, seen without its type.
  class KIV_API Content : public PtrInterface {
   public:
    ~Content() override;
    virtual const Type & type() const = 0;
    virtual String8 strep() const = 0;
    virtual U32 hash() const = 0;
    virtual bool less( const Content & sameType ) const = 0;
    virtual std::vector< AnyPart > parts() const = 0;
  };

  // Nothing.
  Any() = default;
  template < class T >
  requires( !std::same_as< T, Any > && !std::is_pointer_v< T > ) explicit Any( const T & value );

  bool empty() const { return !content_; }
  // The others, but typeName, throw TypeException when there is nothing.
  const Type & type() const { return content().type(); }
  // "nothing" when there is nothing.
  const char * typeName() const;
  String8 strep() const { return content().strep(); }
  // Throws UnhashableException when the type has no hash.
  U32 hash() const { return content().hash(); }
  // The fields of a record, in order; none for other kinds.
  std::vector< AnyPart > parts() const;

  template < class T >
  bool is() const {
    return !empty() && typeid( Held< T > ) == typeOfContent();
  }
  // The value, an integer of another name by copy; throws TypeException when it is of another type.
  template < class T >
  auto as() const -> std::conditional_t< std::same_as< T, Held< T > >, const T &, T >;

  // Ascending keys; values of different types, or of a type without an order, are not ordered.
  friend KIV_API bool operator<( const Any & a, const Any & b );

 private:
  const Content & content() const;
  const std::type_info & typeOfContent() const;

  Ptr< const Content > content_;
};

// One field of a record, or one element of an array in it.
struct AnyPart {
  const char * name;                // null for an element
  Any value;                        // empty for an array
  std::vector< AnyPart > elements;  // of an array
};

class KIV_API Type {
 public:
  virtual const char * name() const = 0;
  virtual AnyKind kind() const = 0;
  virtual const std::type_info & id() const = 0;
  virtual bool hashable() const = 0;
  // Null unless KIV_ENUM declared it.
  virtual const EnumType * enumeration() const = 0;
  // Reads a value at the reader's position; throws as kiv/StrepParse.h says.
  virtual Any read( StrepReader & reader ) const = 0;

  // The value whose text form this is.
  Any fromStrRep( std::string_view text ) const;

  friend bool operator==( const Type & a, const Type & b ) { return a.id() == b.id(); }

 protected:
  ~Type() = default;
};

// The types that can be keys of a HashMap.
template < class T >
concept Hashable = std::integral< T > || std::is_enum_v< T > || ValueType< T > ||
    requires( const T & value ) {
  { value.hash() } -> std::convertible_to< U32 >;
};

[[noreturn]] KIV_API void throwUnhashable( const char * type );
// About a value given for `what`, for example "attribute numPipe".
[[noreturn]] KIV_API void throwWrongType( const String8 & what, const char * wanted,
                                          const Any & given );
[[noreturn]] KIV_API void throwWrongEntity( const String8 & what );

template < class T >
constexpr AnyKind anyKind() {
  if constexpr ( std::is_same_v< T, bool > )
    return AnyKind::boolean;
  else if constexpr ( std::integral< T > )
    return AnyKind::integer;
  else if constexpr ( std::is_enum_v< T > )
    return AnyKind::enumeration;
  else if constexpr ( HasFields< T > )
    return AnyKind::record;
  else if constexpr ( std::is_same_v< T, String8 > || std::is_same_v< T, Name > )
    return AnyKind::text;
  else
    return AnyKind::entity;
}

template < class T >
class TypeOf final : public Type {
 public:
  const char * name() const override { return typeName< T >(); }
  AnyKind kind() const override { return anyKind< T >(); }
  const std::type_info & id() const override { return typeid( T ); }
  bool hashable() const override { return Hashable< T >; }
  const EnumType * enumeration() const override {
    if constexpr ( NamedEnum< T > ) {
      static constexpr EnumType type = enumType( T() );
      return &type;
    }
    return nullptr;
  }
  Any read( StrepReader & reader ) const override { return Any( strepRead< T >( reader ) ); }
};

template < class T >
const Type & typeOf() {
  static constexpr TypeOf< Held< T > > type{};
  return type;
}

template < class M >
AnyPart anyPart( const char * name, const M & member ) {
  AnyPart part{ name, {}, {} };
  if constexpr ( std::is_bounded_array_v< M > )
    for ( const auto & element : member )
      part.elements.push_back( anyPart( nullptr, element ) );
  else
    part.value = Any( member );
  return part;
}

template < class T >
class AnyContent final : public Any::Content {
 public:
  explicit AnyContent( const T & value ) : value_( value ) {}

  const T & value() const { return value_; }
  const Type & type() const override { return typeOf< T >(); }
  String8 strep() const override { return valueToStrep( value_ ); }
  U32 hash() const override {
    if constexpr ( Hashable< T > )
      return Kiv::hash( value_ );
    else
      throwUnhashable( typeName< T >() );
  }
  bool less( const Content & other ) const override {
    if constexpr ( Hashable< T > )
      return value_ < static_cast< const AnyContent & >( other ).value_;
    else
      return false;
  }
  std::vector< AnyPart > parts() const override {
    std::vector< AnyPart > list;
    if constexpr ( HasFields< T > ) {
      std::apply(
          [ & ]( const auto &... field ) {
            ( list.push_back( anyPart( field.name, value_.*field.member ) ), ... );
          },
          FieldsOf< T >::fields() );
    }
    return list;
  }

 private:
  T value_;
};

template < class T >
requires( !std::same_as< T, Any > && !std::is_pointer_v< T > ) Any::Any( const T & value )
    : content_( make< AnyContent< Held< T > > >( static_cast< const Held< T > & >( value ) ) ) {}

template < class T >
auto Any::as() const -> std::conditional_t< std::same_as< T, Held< T > >, const T &, T > {
  if ( !is< T >() )
    throwWrongType( "the reader", Kiv::typeName< T >(), *this );
  return static_cast< const AnyContent< Held< T > > & >( *content_ ).value();
}

// --- Values as attributes and operations hold them -------------------------------------------

template < class T >
struct EntityOf {
  using Class = void;
};
template < class E >
struct EntityOf< E * > {
  using Class = E;
};
template < class E >
struct EntityOf< Ptr< E > > {
  using Class = E;
};
template < class E >
struct EntityOf< ValidPtr< E > > {
  using Class = E;
};

// A pointer to an entity, of whatever kind.
template < class T >
concept EntityPointer = !std::is_void_v< typename EntityOf< T >::Class >;

// The type under which a value is wrapped.
template < class T >
using Wrapped = std::conditional_t< EntityPointer< T >, Ptr< Entity >, T >;

template < class T >
Any wrap( const T & value ) {
  if constexpr ( EntityPointer< T > ) {
    // Tools may change what the holder sees as const.
    using Class = typename EntityOf< T >::Class;
    return Any( Ptr< Entity >(
        const_cast< std::remove_const_t< Class > * >( Ptr< Class >( value ).get() ) ) );
  } else {
    return Any( value );
  }
}

// Throws TypeException about `what()` when the value is of another type, or an entity of a class
// that does not fit.
template < class T, class What >
T unwrap( const Any & any, What what ) {
  if ( !any.is< Wrapped< T > >() )
    throwWrongType( what(), typeName< Wrapped< T > >(), any );
  if constexpr ( EntityPointer< T > ) {
    Entity * entity = any.as< Ptr< Entity > >().get();
    auto * fitting = dynamic_cast< typename EntityOf< T >::Class * >( entity );
    if ( entity && !fitting )
      throwWrongEntity( what() );
    return T( fitting );
  } else {
    return any.as< T >();
  }
}

}  // namespace Kiv
