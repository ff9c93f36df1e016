// Names for clang's thread-safety annotations; nothing for other compilers.
#pragma once

#if defined( __clang__ )
#define KIV_THREAD_ATTRIBUTE( x ) __attribute__( ( x ) )
#else
#define KIV_THREAD_ATTRIBUTE( x )
#endif

#define KIV_CAPABILITY( name ) KIV_THREAD_ATTRIBUTE( capability( name ) )
#define KIV_SCOPED_CAPABILITY KIV_THREAD_ATTRIBUTE( scoped_lockable )
#define KIV_ACQUIRE( ... ) KIV_THREAD_ATTRIBUTE( acquire_capability( __VA_ARGS__ ) )
#define KIV_RELEASE( ... ) KIV_THREAD_ATTRIBUTE( release_capability( __VA_ARGS__ ) )
#define KIV_REQUIRES( ... ) KIV_THREAD_ATTRIBUTE( requires_capability( __VA_ARGS__ ) )
#define KIV_EXCLUDES( ... ) KIV_THREAD_ATTRIBUTE( locks_excluded( __VA_ARGS__ ) )
#define KIV_ASSERT_CAPABILITY( ... ) KIV_THREAD_ATTRIBUTE( assert_capability( __VA_ARGS__ ) )
#define KIV_RETURN_CAPABILITY( x ) KIV_THREAD_ATTRIBUTE( lock_returned( x ) )
#define KIV_GUARDED_BY( x ) KIV_THREAD_ATTRIBUTE( guarded_by( x ) )
#define KIV_NO_THREAD_SAFETY_ANALYSIS KIV_THREAD_ATTRIBUTE( no_thread_safety_analysis )
