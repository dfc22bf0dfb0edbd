// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// Data element tags.

#include <compare>
#include <cstdint>

/// A data element tag (PS3.5 7.1.1).
struct DICOMTag
{
    std::uint16_t itsGroup = 0;   ///< group number
    std::uint16_t itsElement = 0; ///< element number inside the group

    /// In the order of a data set.
    friend constexpr auto operator<=>(const DICOMTag&, const DICOMTag&) = default;
};

/// The tags that this library reads or writes, named by their PS3.6 keywords.
namespace DICOMTags
{
/// What the image is, and what it was derived from.
/// @{
inline constexpr DICOMTag TransferSyntaxUID{0x0002, 0x0010};
inline constexpr DICOMTag ImageType{0x0008, 0x0008};
inline constexpr DICOMTag SOPClassUID{0x0008, 0x0016};
inline constexpr DICOMTag SOPInstanceUID{0x0008, 0x0018};
inline constexpr DICOMTag DerivationDescription{0x0008, 0x2111};
inline constexpr DICOMTag SourceImageSequence{0x0008, 0x2112};
/// @}

/// How pixels are laid out (PS3.3 C.7.6.3).
/// @{
inline constexpr DICOMTag SamplesPerPixel{0x0028, 0x0002};
inline constexpr DICOMTag PhotometricInterpretation{0x0028, 0x0004};
inline constexpr DICOMTag PlanarConfiguration{0x0028, 0x0006};
inline constexpr DICOMTag NumberOfFrames{0x0028, 0x0008};
inline constexpr DICOMTag Rows{0x0028, 0x0010};
inline constexpr DICOMTag Columns{0x0028, 0x0011};
inline constexpr DICOMTag BitsAllocated{0x0028, 0x0100};
inline constexpr DICOMTag BitsStored{0x0028, 0x0101};
inline constexpr DICOMTag HighBit{0x0028, 0x0102};
inline constexpr DICOMTag PixelRepresentation{0x0028, 0x0103};
/// @}

/// What pixel values measure (PS3.3 C.11.1), of all frames or of each.
/// @{
inline constexpr DICOMTag RescaleIntercept{0x0028, 0x1052};
inline constexpr DICOMTag RescaleSlope{0x0028, 0x1053};
inline constexpr DICOMTag PixelValueTransformationSequence{0x0028, 0x9145};
inline constexpr DICOMTag SharedFunctionalGroupsSequence{0x5200, 0x9229};
/// @}

/// Ranges of pixel values, which lossy compression makes untrue.
/// @{
inline constexpr DICOMTag SmallestImagePixelValue{0x0028, 0x0106};
inline constexpr DICOMTag LargestImagePixelValue{0x0028, 0x0107};
inline constexpr DICOMTag SmallestPixelValueInSeries{0x0028, 0x0108};
inline constexpr DICOMTag LargestPixelValueInSeries{0x0028, 0x0109};
inline constexpr DICOMTag SmallestImagePixelValueInPlane{0x0028, 0x0110};
inline constexpr DICOMTag LargestImagePixelValueInPlane{0x0028, 0x0111};
/// @}

/// Palettes (PS3.3 C.7.6.3.1.5 and .6, C.7.9.2). The retired "large" ones are removed, never read.
/// @{
inline constexpr DICOMTag RedPaletteColorLookupTableDescriptor{0x0028, 0x1101};
inline constexpr DICOMTag GreenPaletteColorLookupTableDescriptor{0x0028, 0x1102};
inline constexpr DICOMTag BluePaletteColorLookupTableDescriptor{0x0028, 0x1103};
inline constexpr DICOMTag LargeRedPaletteColorLookupTableDescriptor{0x0028, 0x1111};
inline constexpr DICOMTag LargeGreenPaletteColorLookupTableDescriptor{0x0028, 0x1112};
inline constexpr DICOMTag LargeBluePaletteColorLookupTableDescriptor{0x0028, 0x1113};
inline constexpr DICOMTag PaletteColorLookupTableUID{0x0028, 0x1199};
inline constexpr DICOMTag RedPaletteColorLookupTableData{0x0028, 0x1201};
inline constexpr DICOMTag GreenPaletteColorLookupTableData{0x0028, 0x1202};
inline constexpr DICOMTag BluePaletteColorLookupTableData{0x0028, 0x1203};
inline constexpr DICOMTag LargeRedPaletteColorLookupTableData{0x0028, 0x1211};
inline constexpr DICOMTag LargeGreenPaletteColorLookupTableData{0x0028, 0x1212};
inline constexpr DICOMTag LargeBluePaletteColorLookupTableData{0x0028, 0x1213};
inline constexpr DICOMTag LargePaletteColorLookupTableUID{0x0028, 0x1214};
inline constexpr DICOMTag SegmentedRedPaletteColorLookupTableData{0x0028, 0x1221};
inline constexpr DICOMTag SegmentedGreenPaletteColorLookupTableData{0x0028, 0x1222};
inline constexpr DICOMTag SegmentedBluePaletteColorLookupTableData{0x0028, 0x1223};
/// All of them, in the order in which they are removed.
inline constexpr DICOMTag kPalette[] = {
    RedPaletteColorLookupTableDescriptor,
    GreenPaletteColorLookupTableDescriptor,
    BluePaletteColorLookupTableDescriptor,
    RedPaletteColorLookupTableData,
    GreenPaletteColorLookupTableData,
    BluePaletteColorLookupTableData,
    SegmentedRedPaletteColorLookupTableData,
    SegmentedGreenPaletteColorLookupTableData,
    SegmentedBluePaletteColorLookupTableData,
    PaletteColorLookupTableUID,
    LargeRedPaletteColorLookupTableDescriptor,
    LargeGreenPaletteColorLookupTableDescriptor,
    LargeBluePaletteColorLookupTableDescriptor,
    LargeRedPaletteColorLookupTableData,
    LargeGreenPaletteColorLookupTableData,
    LargeBluePaletteColorLookupTableData,
    LargePaletteColorLookupTableUID,
};
/// @}

/// Whole-slide images: frames that are tiles of one total pixel matrix (PS3.3 C.7.6.17, C.8.12).
/// @{
inline constexpr DICOMTag ConcatenationFrameOffsetNumber{0x0020, 0x9228};
inline constexpr DICOMTag DimensionOrganizationType{0x0020, 0x9311};
inline constexpr DICOMTag ZOffsetInSlideCoordinateSystem{0x0040, 0x074a};
inline constexpr DICOMTag TotalPixelMatrixColumns{0x0048, 0x0006};
inline constexpr DICOMTag TotalPixelMatrixRows{0x0048, 0x0007};
inline constexpr DICOMTag RecommendedAbsentPixelCIELabValue{0x0048, 0x0015};
inline constexpr DICOMTag OpticalPathIdentifier{0x0048, 0x0106};
inline constexpr DICOMTag OpticalPathIdentificationSequence{0x0048, 0x0207};
inline constexpr DICOMTag PlanePositionSlideSequence{0x0048, 0x021a};
inline constexpr DICOMTag ColumnPositionInTotalImagePixelMatrix{0x0048, 0x021e};
inline constexpr DICOMTag RowPositionInTotalImagePixelMatrix{0x0048, 0x021f};
inline constexpr DICOMTag SegmentIdentificationSequence{0x0062, 0x000a};
inline constexpr DICOMTag ReferencedSegmentNumber{0x0062, 0x000b};
inline constexpr DICOMTag PerFrameFunctionalGroupsSequence{0x5200, 0x9230};
/// @}

/// The history of lossy compression (PS3.3 C.7.6.1.1.5).
/// @{
inline constexpr DICOMTag LossyImageCompression{0x0028, 0x2110};
inline constexpr DICOMTag LossyImageCompressionRatio{0x0028, 0x2112};
inline constexpr DICOMTag LossyImageCompressionMethod{0x0028, 0x2114};
/// @}

/// The pixels, and where their frames begin (PS3.5 Annex A.4).
/// @{
inline constexpr DICOMTag ExtendedOffsetTable{0x7fe0, 0x0001};
inline constexpr DICOMTag ExtendedOffsetTableLengths{0x7fe0, 0x0002};
inline constexpr DICOMTag PixelData{0x7fe0, 0x0010};
/// @}

/// Greater than every real tag: "stop nowhere".
inline constexpr DICOMTag None{0xffff, 0xffff};
} // namespace DICOMTags
