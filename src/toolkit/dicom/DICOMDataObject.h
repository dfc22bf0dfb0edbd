// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "toolkit/dicom/ColorPalette.h"
#include "toolkit/dicom/DICOMObject.h"

class TransferSyntaxType;

/// The data set of one image: attributes, and the colour palettes captured from them. Each image that is
/// decoded needs one of its own.
class QUORIX_API DICOMDataObject : public DICOMObject
{
public:
    using DICOMObject::DICOMObject;
    ~DICOMDataObject() override;

    /// The palettes held in memory, or null. Borrowed.
    /// @{
    const ColorPalette* GetRedColorPalette() const { return itsRedPalette.get(); }
    const ColorPalette* GetGreenColorPalette() const { return itsGreenPalette.get(); }
    const ColorPalette* GetBlueColorPalette() const { return itsBluePalette.get(); }
    /// @}

    /// Replace a palette; null for none. The attributes of the data set are left alone.
    /// @{
    void SetRedColorPalette(std::unique_ptr<ColorPalette> thePalette);
    void SetGreenColorPalette(std::unique_ptr<ColorPalette> thePalette);
    void SetBlueColorPalette(std::unique_ptr<ColorPalette> thePalette);
    /// @}

    /// The palettes held in memory as well.
    void ForgetDecoding() override;

    /// Whether Lossy Image Compression (0028,2110) says that pixels were lost on the way: it is there, not
    /// empty and not "00".
    bool IsMarkedLossy() const;

    /// Whether the private flag says that nothing was lost when the pixels were compressed.
    bool IsMarkedLossless() const;

    /// The last value of Lossy Image Compression Ratio (0028,2112), rounded to nearest; 0 when absent,
    /// unreadable or outside 0 … 2^31 − 1. The transfer syntax (null allowed) and the other arguments
    /// do not change the answer.
    int GetLossyImageCompressionRatio(const TransferSyntaxType* theTransferSyntax, int theFirst,
                                      int theSecond, bool isSet) const;

private:
    std::unique_ptr<ColorPalette> itsRedPalette;
    std::unique_ptr<ColorPalette> itsGreenPalette;
    std::unique_ptr<ColorPalette> itsBluePalette;
};
