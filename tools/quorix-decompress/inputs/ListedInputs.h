// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mutex>
#include <optional>

#include "inputs/InputQueue.h"
#include "inputs/ListReader.h"
#include "inputs/Shard.h"

/// One shard of the files in a list, read while it is worked on.
///
/// The names must be all relative or all absolute ones, as the first is: outputs are named after them, and
/// "/a/b" and "a/b" would have the same. A name with ".." counts as absolute. Others are handed out with a
/// refusal.
class ListedInputs final : public InputQueue
{
public:
    /// Throws OutputError when the list cannot be opened.
    ListedInputs(const std::string& theList, const Shard& theShard);

    bool Next(Input& theInput) override;

private:
    std::mutex itsMutex;
    ListReader itsReader;
    Shard itsShard;
    std::size_t itsPosition = 0;
    std::optional<bool> itsAbsolute;
    bool itsEnded = false;
};
