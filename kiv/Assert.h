// Assertions about the library's own bookkeeping.
//
// They stay on in every build: running on with wrong records would program wrong rules into
// hardware. The failure text is the C library's own (program, file, line, enclosing signature,
// expression); the expression's text is the argument as written in the source.
#pragma once

// The C library's own report. <assert.h> hides it from code that is built with NDEBUG.
// The GNU form of the attribute may repeat on a second declaration.
// NOLINTNEXTLINE(readability-redundant-declaration)
extern "C" __attribute__( ( noreturn ) ) void __assert_fail( const char * expression,
                                                             const char * file, unsigned int line,
                                                             const char * function ) noexcept;

#define KIV_ASSERT( ... )              \
  ( static_cast< bool >( __VA_ARGS__ ) \
        ? void( 0 )                    \
        : __assert_fail( #__VA_ARGS__, __FILE__, __LINE__, __PRETTY_FUNCTION__ ) )
