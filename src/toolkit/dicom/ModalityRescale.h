// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "toolkit/base/BaseTypes.h"

class DICOMObject;

/// The linear step from stored sample values to what the modality measured, Hounsfield units for instance
/// (PS3.3 C.11.1 and C.7.6.16.2.9). Immutable in use; the default changes nothing.
struct QUORIX_API ModalityRescale
{
    double itsSlope = 1.0;     ///< never 0
    double itsIntercept = 0.0; ///< in modality values

    /// The modality value of a stored sample.
    double Apply(double theSample) const { return theSample * itsSlope + itsIntercept; }

    /// Whether both give the same values.
    bool operator==(const ModalityRescale&) const = default;

    /// Rescale Slope and Rescale Intercept of a frame, counted from 0: its own functional groups go before
    /// the shared ones, those before the data set itself. Where a place has not both as finite numbers, the
    /// slope other than 0, the next one counts; where none has, samples stay as they are. A Modality LUT is
    /// not looked at.
    static ModalityRescale Find(const DICOMObject& theDataSet, std::int32_t theFrame);
};

/// The same for all frames of a data set, whose items are passed through once: each by itself is counted out
/// from the first one. Immutable.
class QUORIX_API FrameRescales
{
public:
    /// Reads all that theDataSet says; it is not needed afterwards.
    explicit FrameRescales(const DICOMObject& theDataSet);

    /// What ModalityRescale::Find says of theFrame, counted from 0.
    ModalityRescale Get(std::int32_t theFrame) const;

private:
    std::vector<std::optional<ModalityRescale>> itsOwn; ///< of each item; none where no item has any
    ModalityRescale itsOthers;
};
