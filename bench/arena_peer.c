/* The arena's peer: the allocator that Boost.Container bundles, configured as ours is. */
#include <windows.h>
#undef FORCEINLINE /* The allocator brings its own. */

#define USE_DL_PREFIX 1
#define MALLOC_ALIGNMENT ((size_t)32)
#define HAVE_MORECORE 0
#define USE_LOCKS 1
#define USE_SPIN_LOCKS 1
#define FOOTERS 0
#define DEFAULT_MMAP_THRESHOLD ((size_t)0x40000)
#define DEFAULT_TRIM_THRESHOLD ((size_t)0x200000)

#include <dlmalloc_2_8_6.c>
