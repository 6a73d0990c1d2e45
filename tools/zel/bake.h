// Turning operations into tables.
#ifndef ZEL_TOOL_BAKE_H_
#define ZEL_TOOL_BAKE_H_

#include "chain.h"
#include "table.h"

namespace tool {

// One table that does what the chain does at 8 bits. Automatic operations measure `photo`, which may be null when there
// are none. A chain of curves gives 256 rows, exactly; any other gives `nodes` nodes an axis, or, for 0, 16 when the
// chain is a single colour table and 52 otherwise, every one lying on a whole 8-bit level.
//
// Throws UsageError that names the operation when one depends on neighbours or places, or needs a photograph and has
// none.
Table Bake(const Chain& chain, const Photo* photo, int nodes);

}  // namespace tool

#endif  // ZEL_TOOL_BAKE_H_
