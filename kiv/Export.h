// Marks what the shared library exports. Everything else is built with hidden visibility.
#pragma once

#define KIV_API __attribute__( ( visibility( "default" ) ) )
