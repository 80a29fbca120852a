#pragma once

#include "engine/DataFolderPlaces.h"

namespace corvina::engine {

/// Replaces the items of `places.contents` (made when missing) with those of
/// its temporary folder; the folder itself stays. The old items are moved
/// aside into a hidden folder first and deleted only once every new item is
/// in. On failure everything moved is put back, new items into the
/// temporary folder, and the error is thrown.
void replaceContents(const DataFolderPlaces& places);

/// Puts back what a replacement that was killed part-way left, so that the
/// data folder holds its old items again (or, past the point of no return,
/// its new ones, the old ones being removed; or, when it was written to
/// since, what it holds, the old items kept beside it). Returns whether old
/// items were put back into it; throws when they could not be.
bool recoverInterruptedReplacement(const DataFolderPlaces& places);

} // namespace corvina::engine
