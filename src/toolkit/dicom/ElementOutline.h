// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/dicom/DICOMObject.h"

/// What a data set holds, in words, sequences included: for those who show it. Stateless.
class QUORIX_API ElementOutline
{
public:
    /// One element, or one item of a sequence.
    struct Line
    {
        int itsDepth;    ///< 0 in the data set itself; a sequence's items have one more, their elements two
        DICOMTag itsTag; ///< of an item (FFFE,E000)
        RWCString itsVR; ///< two letters, UN included; empty for an item
        RWCString
            itsKeyword;    ///< as the dictionary has it; empty for private and unknown elements and for items
        bool itsHasText;   ///< false for what is neither text nor number
        RWCString itsText; ///< as DICOMObject::GetString gives it
    };

    /// Calls theReceiver for each line, in the order of the data set, Pixel Data (7FE0,0010) excepted; while
    /// it answers true. How deep it goes the limits of reading have settled.
    static void Walk(const DICOMObject& theDataSet, const std::function<bool(const Line&)>& theReceiver);
};
