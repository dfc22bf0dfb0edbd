// SPDX-License-Identifier: Apache-2.0
#include "inputs/ListedInputs.h"

#include "outputs/MirroredNames.h"

ListedInputs::ListedInputs(const std::string& theList, const Shard& theShard)
    : itsReader(theList), itsShard(theShard)
{
}

bool ListedInputs::Next(Input& theInput)
{
    const std::lock_guard aLock(itsMutex);
    std::string aName;
    while (!itsEnded)
    {
        itsEnded = true; // stays so where reading on throws
        itsEnded = !itsReader.Next(aName);
        if (itsEnded)
        {
            break;
        }
        const std::size_t aPosition = itsPosition++;
        if (!itsAbsolute)
        {
            itsAbsolute = MirroredNames::IsAbsolute(aName);
        }
        if (itsShard.Has(aPosition))
        {
            const bool isAlike = MirroredNames::IsAbsolute(aName) == *itsAbsolute;
            // "-" is standard input elsewhere, here a file like any other.
            theInput = {aName == "-" ? "./-" : aName, aPosition,
                        isAlike ? "" : "the list has both absolute and relative names"};
            return true;
        }
    }
    return false;
}
