// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// The front door: a file, a block of bytes or a stream in, pixels out.
///
///     #include "quorix/decode.h"
///     const quorix::Image image = quorix::decode("scan.dcm");
///     show(image.pixels().data(), image.rows(), image.columns());
///
/// C++17 is enough for this header, and it needs no other one of this library.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

// The same words as in toolkit/base/Export.h: this header stands alone.
#ifndef QUORIX_API
#if defined(__GNUC__)
#define QUORIX_API __attribute__((visibility("default")))
#else
#define QUORIX_API
#endif
#endif

/// Decoding images in one call, see quorix/decode.h.
namespace quorix
{
struct ImageState;

/// Bytes that belong to somebody else and must outlive the view.
class ByteView
{
public:
    /// No bytes.
    ByteView() noexcept = default;

    /// theSize bytes at theData.
    ByteView(const void* theData, std::size_t theSize) noexcept
        : itsData(static_cast<const unsigned char*>(theData)), itsSize(theSize)
    {
    }

    /// The bytes of a vector, an array or the like of unsigned char or std::byte.
    template <class Bytes,
              class Element =
                  std::remove_cv_t<std::remove_pointer_t<decltype(std::declval<const Bytes&>().data())>>,
              class = std::enable_if_t<std::is_same_v<Element, unsigned char> ||
                                       std::is_same_v<Element, std::byte>>>
    ByteView(const Bytes& theBytes) noexcept : ByteView(theBytes.data(), theBytes.size())
    {
    }

    /// The first byte, null where there is none; how many there are; and one of them, unchecked.
    /// @{
    const unsigned char* data() const noexcept { return itsData; }
    std::size_t size() const noexcept { return itsSize; }
    bool empty() const noexcept { return itsSize == 0; }
    const unsigned char* begin() const noexcept { return itsData; }
    const unsigned char* end() const noexcept { return itsData + itsSize; }
    unsigned char operator[](std::size_t theIndex) const noexcept { return itsData[theIndex]; }
    /// @}

private:
    const unsigned char* itsData = nullptr;
    std::size_t itsSize = 0;
};

/// Why there is no image. The codes are those of docs/error-codes.md; 3 is a file that cannot be opened, 38
/// what is no image at all.
class QUORIX_API DecodeError : public std::runtime_error
{
public:
    /// theSystemError: an errno value, or 0.
    DecodeError(const std::string& theText, int theCode, int theSystemError = 0);
    ~DecodeError() override;

    /// The result code, never 0.
    int code() const noexcept { return itsCode; }
    /// What the operating system said, an errno value; 0 where it had no part in it.
    int systemError() const noexcept { return itsSystemError; }

private:
    int itsCode;
    int itsSystemError;
};

/// A source of bytes that the caller writes: only read has to be there. Used by one call at a time, on the
/// thread of that call. What it throws reaches whoever called decode, as it was thrown.
class QUORIX_API InputStream
{
public:
    virtual ~InputStream();

    /// Reads up to theSize bytes and returns how many; 0 only at the end. A short count is not the end.
    virtual std::size_t read(unsigned char* theBuffer, std::size_t theSize) = 0;

    /// Whether seek works. The default says no: the bytes are read from front to back.
    virtual bool canSeek() const;

    /// Goes to a position counted from the start of the stream, at most its length. The default throws
    /// DecodeError (code 12).
    virtual void seek(std::uint64_t thePosition);

    /// Where the next byte stands, counted from the start of the stream. Asked once, before the first read:
    /// decoding begins there. The default is 0.
    virtual std::uint64_t position() const;

    /// Bytes of the whole stream, nothing where unknown, which is the default. Asked once. It saves reading
    /// where the stream can seek; where the stream ends, read says.
    virtual std::optional<std::uint64_t> length() const;
};

/// What a source is.
enum class ImageType
{
    automatic,        ///< told by the first bytes
    dicom,            ///< a DICOM Part 10 stream
    jpeg,             ///< a bare JPEG stream
    jpeg2000,         ///< a JPEG 2000 codestream or a JP2 file
    losslessJpeg2000, ///< the same, known to be without loss
    jpegLs            ///< a JPEG-LS codestream; automatic and jpeg find these, too
};

/// How a file is read whose words and whose meaning part, docs/inputs.md has the list.
enum class Reading
{
    byMeaning, ///< as whoever wrote the file must have meant it
    byContract ///< step by step as the classes behind this header do unless they are told otherwise
};

/// A doubt about a picture that was decoded all the same.
struct Warning
{
    std::string identifier; ///< never changes; docs/warnings.md says what each means
    std::string text;       ///< for people; may quote the file
    int frame = 0;          ///< from 0
};

/// A window of interest: a rectangle of pixels at full size, the first pixel of the image being at 0, 0.
struct Region
{
    int x;      ///< first column
    int y;      ///< first row
    int width;  ///< 1 or more
    int height; ///< 1 or more
};

/// How to decode. What cannot be meant, a negative frame for instance, is refused with a DecodeError (code
/// 6).
struct DecodeOptions
{
    /// What the source is.
    ImageType type = ImageType::automatic;
    /// The frame to decode, for decodeFrames the first one; from 0. Bare images have frame 0 alone. With a
    /// region of a whole-slide image any frame of the focal plane and optical path that are wanted.
    int frame = 0;
    /// How many frames decodeFrames delivers at most, 1 or more; decode takes no notice.
    int frameCount = std::numeric_limits<int>::max();
    /// 1 for full size; each step more halves width and height where the codec can (JPEG 2000).
    /// Image::scale says what came of it.
    int scale = 1;
    /// How files are taken that do not say what they mean.
    Reading reading = Reading::byMeaning;
    /// The part of the image to decode, bit for bit as it stands in the whole; nothing is all of it. What
    /// lies outside is left out as far as the codec can, which saves its time. With a scale, the pixels that
    /// stand for any of the window's. A window that is not inside the image is a DecodeError (code 6).
    ///
    /// Of a whole-slide image decode counts in the total pixel matrix and puts together what its tiles show;
    /// where there are none the pixels have the colour that the data set recommends, else white, or black of
    /// grey images, and a warning says so. The scale is then the largest one up to the wanted that keeps the
    /// edges of tiles between pixels. decodeFrames takes the window out of each frame.
    std::optional<Region> region = std::nullopt;
};

/// What the samples mean. The numbers are those of ::Renderable.
enum class PhotometricInterpretation
{
    unknown = 0,
    monochrome1 = 1,
    monochrome2 = 2,
    paletteColor = 3,
    rgb = 4,
    ybrFull = 5,
    ybrFull422 = 6,
    ybrPartial422 = 7,
    ybrPartial420 = 8,
    ybrIct = 9,
    ybrRct = 10
};

/// A decoded image, which owns its pixels. Moved, never copied; one that was moved from is empty, as a new
/// one is: no pixels, and 0 for every number. Any number of threads may read one image side by side.
class QUORIX_API Image
{
public:
    Image() noexcept;
    ~Image();
    /// Takes over what theOther holds.
    /// @{
    Image(Image&& theOther) noexcept;
    Image& operator=(Image&& theOther) noexcept;
    /// @}

    /// The samples, row by row, in the library's own memory: valid as long as this image. Colour comes as
    /// interleaved RGB of 8 bits, from bare JPEG of more bits as RGB of 16. A sample takes 1, 2 or 4 bytes;
    /// those of 1 bit are packed, the first pixel in the lowest bit.
    ByteView pixels() const noexcept;

    /// Byte order of samples of more than 8 bits: little-endian but for files in explicit big endian, whose
    /// samples may come as they are there.
    bool isLittleEndian() const noexcept;

    /// Size in pixels, as decoded.
    /// @{
    int rows() const noexcept;
    int columns() const noexcept;
    /// @}

    /// 1 for grey, 3 for colour.
    int samplesPerPixel() const noexcept;

    /// Bits that a sample takes; how many of them carry its value; position of the highest of these, from 0.
    /// @{
    int bitsAllocated() const noexcept;
    int bitsStored() const noexcept;
    int highBit() const noexcept;
    /// @}

    /// Whether samples are two's complement.
    bool isSigned() const noexcept;

    /// What the samples mean, and the same as DICOM's defined term.
    /// @{
    PhotometricInterpretation photometricInterpretation() const noexcept;
    std::string photometricInterpretationName() const;
    /// @}

    /// Whether colour stands in planes.
    bool isPlanar() const noexcept;

    /// Whether the image has been through lossy compression: what its data set says, of a bare image what its
    /// codec says.
    bool isLossy() const noexcept;

    /// How many times smaller the compressed form was, rounded; 0 where that is not known, as of a region.
    int compressionRatio() const noexcept;

    /// The scale that was applied: 1 is full size, 3 a quarter of width and height.
    int scale() const noexcept;

    /// Index of this frame in its source, from 0.
    int frame() const noexcept;

    /// What is in doubt about this picture, in the order in which it was noticed; valid as long as this
    /// image.
    const std::vector<Warning>& warnings() const noexcept;

    /// The data set's attribute with this tag as text: several values with backslashes between them, bytes in
    /// the data set's own character set. Nothing where there is no such attribute, where it is no text and no
    /// number, and for bare images. The data set describes the decoded pixels: what belongs to the compressed
    /// ones is replaced. Images of one decodeFrames share that of the first.
    std::optional<std::string> attribute(std::uint16_t theGroup, std::uint16_t theElement) const;

    /// Its first value as a whole number; nothing where it is none.
    std::optional<int> attributeAsInt(std::uint16_t theGroup, std::uint16_t theElement) const;

private:
    friend struct ImageState;

    std::unique_ptr<ImageState> itsState;
};

/// Decodes one image. Runs on the caller's thread alone; any number of calls may run side by side, each with
/// a source of its own. Throws DecodeError; what the caller's own stream throws; std::bad_alloc. Nothing is
/// left behind then but the position of the stream. A path is told from bytes by its type: wrap bytes that
/// are chars in a ByteView. Files are not locked.
/// @{
QUORIX_API Image decode(const std::filesystem::path& theFile, const DecodeOptions& theOptions = {});
QUORIX_API Image decode(ByteView theBytes, const DecodeOptions& theOptions = {});
QUORIX_API Image decode(InputStream& theStream, const DecodeOptions& theOptions = {});
/// @}

/// Takes the frame of an index, from 0, and its image, which is the callee's; false for no more.
using FrameCallback = std::function<bool(int, Image)>;

/// Decodes the frames from theOptions.frame on, each when the one before has been taken, and returns how many
/// theCallback was given. A bare image is one frame. A range may reach beyond the last frame but not begin
/// there. As decode does, it throws; what theCallback throws reaches the caller as it was thrown. Frames that
/// were delivered before stay good.
/// @{
QUORIX_API int decodeFrames(const std::filesystem::path& theFile, const DecodeOptions& theOptions,
                            const FrameCallback& theCallback);
QUORIX_API int decodeFrames(ByteView theBytes, const DecodeOptions& theOptions,
                            const FrameCallback& theCallback);
QUORIX_API int decodeFrames(InputStream& theStream, const DecodeOptions& theOptions,
                            const FrameCallback& theCallback);
/// @}

/// What a file may ask for; docs/limits.md says more. Crossing one is a DecodeError.
struct Limits
{
    std::uint64_t pixelsPerFrame;  ///< rows times columns
    std::uint64_t bytesPerFrame;   ///< of one decoded image
    std::uint64_t frames;          ///< Number of Frames
    std::uint64_t nestedSequences; ///< sequences inside sequences
    std::uint64_t attributeBytes;  ///< of all attribute values of a data set together
    std::uint64_t fragments;       ///< looked at to find a frame
    std::uint64_t inflatedBytes;   ///< of a deflated data set before its pixel data, and 256 for each element
};

/// The limits of this process, for all calls and threads; to be changed at start-up.
/// @{
QUORIX_API Limits limits();
QUORIX_API void setLimits(const Limits& theLimits);
/// @}
} // namespace quorix
