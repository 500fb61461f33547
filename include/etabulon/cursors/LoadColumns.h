#pragma once

#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/foundation/EDataColumns.h"
#include "etabulon/foundation/fwd.h"

#include <memory>

namespace etabulon {

/// Loads the records under `tag` into a table in columns, by one walk of the cursor: by blocks
/// where they come in blocks. The table has the cursor's fields, those behind links included, and
/// the positions and keys of the records. `node` becomes its dictionary node, and may be null.
///
/// A listener on the cursor sees the walk as ever, and may cancel it: that and a failure of the
/// walk give null, with the walk's status in `status`. A record without a position, as a pending
/// insert is, ends the load with DataNoSuchPosition.
[[nodiscard]] ETABULON_API std::unique_ptr<EDataColumns> LoadColumns(ETabulonCursor& cursor,
                                                                     const ETabulonTag& tag,
                                                                     DDicoBase* node,
                                                                     CursorStatus& status);

}  // namespace etabulon
