// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include <dcmtk/config/osconfig.h>

#include <dcmtk/dcmdata/dcelem.h>
#include <dcmtk/dcmdata/dcitem.h>

#include "toolkit/dicom/DICOMObject.h"

/// The elements of a data set, Pixel Data excepted, as a DCMTK item.
struct DICOMObject::Elements
{
    DcmItem itsItem;
};

/// This room's way to the elements. Internal: never included by a public header.
class DICOMObjectAccess
{
public:
    /// Element numbers of private creators, and so the blocks they reserve (PS3.5 7.8.1).
    static constexpr std::uint16_t FIRST_BLOCK = 0x10;
    static constexpr std::uint16_t LAST_BLOCK = 0xff;

    static DcmItem& GetItem(const DICOMObject& theObject) { return theObject.itsElements->itsItem; }

    /// Calls theFunction(DcmElement&) for each element in ascending order.
    template <class Function>
    static void ForEach(const DICOMObject& theObject, Function theFunction)
    {
        DcmItem& anItem = GetItem(theObject);
        for (DcmObject* anObject = anItem.nextInContainer(nullptr); anObject != nullptr;
             anObject = anItem.nextInContainer(anObject))
        {
            theFunction(static_cast<DcmElement&>(*anObject));
        }
    }

    /// The creator elements, of whatever private group, that name theCreator.
    static std::vector<DICOMTag> FindPrivateBlocks(const DICOMObject& theObject, const RWCString& theCreator);
};
