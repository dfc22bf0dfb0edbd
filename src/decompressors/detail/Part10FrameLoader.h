// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "decompressors/detail/ExchangedWordsInputStream.h"
#include "decompressors/detail/NativeFrameReader.h"
#include "decompressors/detail/Part10FrontEnd.h"
#include "image/Renderable.h"
#include "toolkit/base/PixelRegion.h"
#include "toolkit/dicom/ImageFrameInputStream.h"
#include "toolkit/dicom/ModalityRescale.h"

class Decoder;

/// Makes finished images of the frames of a parsed Part 10 stream, one frame a call.
///
/// Every frame starts from the attributes that the stream has, whatever decoding the frame before wrote
/// into the data set. The front end is borrowed; it has been parsed and has Pixel Data. Not thread-safe.
class Part10FrameLoader
{
public:
    /// theClassName: the decompressor's name as messages give it.
    Part10FrameLoader(Part10FrontEnd& theFrontEnd, RWCString theClassName);
    ~Part10FrameLoader();

    /// What Load makes of the frames to come: a part of them, in pixels at full size, at a scale. Without
    /// this it is what the request wants.
    void Want(const PixelRegion& theRegion, int theScaleFactor);

    /// Reads or decodes frame theFrameIndex (−1: the first and only one), brings colour to interleaved
    /// 8-bit RGB and records what opening, parsing, allocating and decoding took. Native frames are asked
    /// for in ascending order. Throws StreamIOException with code and text of the failure, and whatever
    /// decoding throws; no memory stays behind.
    std::unique_ptr<Renderable> Load(int theFrameIndex);

    /// Reads the bytes of frame theFrameIndex (0 and up) and makes nothing of them. Throws as Load does.
    void Pass(int theFrameIndex);

private:
    class Driver;

    /// One frame on its way.
    struct Frame
    {
        std::unique_ptr<Renderable> itsRenderable;
        Part10ImageAttributes itsAttributes;
        Renderable::PhotometricInterpretation itsInterpretation = Renderable::INVALID;
        std::uint64_t itsSize = 0;           ///< bytes of the buffer that hold pixels
        std::uint64_t itsCompressedSize = 0; ///< bytes that were read for them
        double itsTimeToAllocate = 0;        ///< milliseconds
        int itsScaleFactor = 1;
        int itsColourDepth = 0;       ///< bits a colour sample fills, where the data set is wrong; else 0
        bool itsIsDepthKnown = false; ///< the codec has looked, and warned where the data set says otherwise
        PixelRegion itsHeld;          ///< what of the image is decoded,
        PixelRegion itsWanted;        ///< and what the request wants of that; only where it has a region
        bool itsIsWindow = false;     ///< native: the attributes are the window's, and no more is read
        bool itsLittleEndian = true;
        bool itsIsIrreversible = false; ///< read by meaning: the codestream has lost something
    };

    Frame Begin() const;
    bool CanReadWindow(const Frame& theFrame) const;
    void BeginWindow(Frame& theFrame) const;
    NativeFrameReader::Layout GetNativeLayout() const;
    bool IsNative() const;
    void SettleRescale(Renderable& theImage, int theFrame);
    void Allocate(Frame& theFrame) const;
    std::uint64_t ReadNativeBytes(Frame& theFrame, int theFrameIndex);
    void ReadNative(Frame& theFrame, int theFrameIndex);
    void DecodeEncapsulated(Frame& theFrame, int theFrameIndex);
    void SettleRegion(Frame& theFrame, const Decoder& theCodec) const;
    void CutDecoded(Frame& theFrame) const;
    void CutNative(const Frame& theFrame) const;
    InputStream& GetCompressedFrame(int theFrameIndex, std::uint64_t theFrameSize);
    void SettleDecodedSize(Frame& theFrame) const;
    void SettleInterpretation(Frame& theFrame) const;
    void SettleScale(Frame& theFrame) const;
    bool HasForeignWords() const;
    void SettleByteOrder(Frame& theFrame) const;
    void MakeUnsigned(Frame& theFrame) const;
    void SettleGreyLabel(Frame& theFrame) const;
    void SettleRoom(Frame& theFrame, const Driver& theDriver) const;
    void SettleGreyDepth(Frame& theFrame, const Driver& theDriver) const;
    static void SettleColourDepth(Frame& theFrame, int theDepth);
    void Describe(Frame& theFrame) const;
    std::int32_t GetRatio(const Frame& theFrame) const;
    void SettleYBRDepth(Frame& theFrame) const;
    void ConvertToRGB(Frame& theFrame) const;

    Part10FrontEnd& itsFrontEnd;
    RWCString itsClassName;
    int itsScaleFactor;
    std::optional<PixelRegion> itsRegion;
    std::optional<ExchangedWordsInputStream> itsExchangedWords;
    std::optional<NativeFrameReader> itsNativeFrames;
    std::unique_ptr<ImageFrameInputStream> itsCompressedFrames;
    bool itsHasLoaded = false; ///< an image, and may load others
    std::optional<FrameRescales> itsRescales;
};
