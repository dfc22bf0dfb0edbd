// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/ElementOutline.h"

#include <dcmtk/config/osconfig.h>

#include <dcmtk/dcmdata/dcsequen.h>

#include "toolkit/dicom/detail/DICOMObjectAccess.h"
#include "toolkit/dicom/detail/DcmtkBridge.h"
#include "toolkit/dicom/detail/ElementValue.h"

namespace
{
using Receiver = std::function<bool(const ElementOutline::Line&)>;

ElementOutline::Line Describe(DcmElement& theElement, int theDepth)
{
    const DICOMTag aTag = DcmtkBridge::TagOf(theElement);
    const std::uint16_t aCode = DcmtkBridge::TypeCodeOf(theElement);
    ElementOutline::Line aLine{theDepth, aTag, {}, DcmtkBridge::LookUpKeyword(aTag), false, {}};
    aLine.itsVR = {static_cast<char>(aCode >> 8), static_cast<char>(aCode & 0xff)};
    aLine.itsHasText = theElement.isLeaf() && ElementValue(theElement).GetText(aLine.itsText);
    return aLine;
}

bool WalkElements(DcmItem& theItem, int theDepth, const Receiver& theReceiver);

bool WalkItems(DcmSequenceOfItems& theSequence, int theDepth, const Receiver& theReceiver)
{
    constexpr DICOMTag kItem{0xfffe, 0xe000};
    for (DcmObject* anObject = theSequence.nextInContainer(nullptr); anObject != nullptr;
         anObject = theSequence.nextInContainer(anObject))
    {
        auto* const anItem = dynamic_cast<DcmItem*>(anObject);
        if (anItem != nullptr && !(theReceiver({theDepth, kItem, {}, {}, false, {}}) &&
                                   WalkElements(*anItem, theDepth + 1, theReceiver)))
        {
            return false;
        }
    }
    return true;
}

bool WalkElements(DcmItem& theItem, int theDepth, const Receiver& theReceiver)
{
    for (DcmObject* anObject = theItem.nextInContainer(nullptr); anObject != nullptr;
         anObject = theItem.nextInContainer(anObject))
    {
        if (!theReceiver(Describe(static_cast<DcmElement&>(*anObject), theDepth)))
        {
            return false;
        }
        auto* const aSequence = dynamic_cast<DcmSequenceOfItems*>(anObject);
        if (aSequence != nullptr && !WalkItems(*aSequence, theDepth + 1, theReceiver))
        {
            return false;
        }
    }
    return true;
}
} // namespace

void ElementOutline::Walk(const DICOMObject& theDataSet, const Receiver& theReceiver)
{
    WalkElements(DICOMObjectAccess::GetItem(theDataSet), 0, theReceiver);
}
