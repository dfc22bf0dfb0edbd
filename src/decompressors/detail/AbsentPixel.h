// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

class DICOMDataObject;
class Renderable;

/// What stands where a whole-slide image has no tiles: the colour that its data set recommends, else white of
/// colour images, of others black.
class AbsentPixel
{
public:
    /// Reads what theDataSet recommends.
    explicit AbsentPixel(const DICOMDataObject& theDataSet);

    /// Makes all of theImage's pixels such ones; a record that is complete, with a buffer that may hold
    /// anything.
    void FillImage(Renderable& theImage) const;

private:
    /// An sRGB colour, its components from 0 to 1.
    struct Colour
    {
        double itsRed = 0.0;
        double itsGreen = 0.0;
        double itsBlue = 0.0;
    };

    static Colour FromCIELab(double theLightness, double theA, double theB);
    std::uint32_t GetGrey(const Renderable& theImage) const;

    std::optional<Colour> itsColour;
};
