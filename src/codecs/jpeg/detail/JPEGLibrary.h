// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <memory>

/// Who decodes the pixels of a JPEG image. The result is the same to the bit; tests compare the paths.
enum class JPEGPath
{
    AUTOMATIC, ///< the fast decoders wherever their result is the library's
    LIBRARY,   ///< always the IJG library's own loop
    FAST       ///< the fast decoders wherever they can, even where AUTOMATIC sees no gain
};

/// The library's numbering of colour spaces.
enum class JPEGColorSpace : int
{
    UNKNOWN = 0,
    GRAYSCALE = 1,
    RGB = 2,
    YCBCR = 3,
    CMYK = 4,
    YCCK = 5
};

/// The library's numbering of coding processes.
enum class JPEGProcess : int
{
    SEQUENTIAL = 0,
    PROGRESSIVE = 1,
    LOSSLESS = 2
};

/// What the library knows of an image once its header has been read; all zero before.
struct JPEGFrameHeader
{
    std::uint32_t itsWidth = 0;
    std::uint32_t itsHeight = 0;
    int itsPrecision = 0; ///< bits of a sample
    JPEGProcess itsProcess = JPEGProcess::SEQUENTIAL;
    int itsComponents = 0;
    std::array<int, 3> itsComponentIds{};       ///< of the first three
    std::array<std::uint8_t, 4> itsHSampling{}; ///< sampling factors of the first four
    std::array<std::uint8_t, 4> itsVSampling{};
    bool itsArithmetic = false;       ///< arithmetic instead of Huffman coding
    int itsBuildPrecision = 0;        ///< 8, 12 or 16: bits of the library build that read the header
    bool itsRepeatsComponent = false; ///< the first scan names a component twice
    int itsRestartInterval = 0;       ///< MCUs; 0: none. A later marker may change it
    bool itsJFIF = false;
    bool itsAdobe = false;
    int itsAdobeTransform = 0;
    JPEGColorSpace itsColorSpace = JPEGColorSpace::UNKNOWN;
    JPEGColorSpace itsOutputColorSpace = JPEGColorSpace::UNKNOWN;
};

/// One image in one build of the IJG library, without its types.
///
/// Errors are JPEGDecoderExceptions that unwind through the library. After one, every operation but the
/// accessors, DropInput and the destructor ends in the library's error for a call out of order. One
/// thread.
class JPEGLibrary
{
public:
    /// Whoever feeds the library. Called from inside the other operations; what these throw leaves them.
    class Client
    {
    public:
        virtual ~Client() = default;

        /// The next bytes: sets theData and returns their count. 0 is the end of the data, a negative
        /// count or one above kInputCapacity an error of the source.
        virtual int FillInput(const std::uint8_t*& theData) = 0;

        /// Nothing more will be read.
        virtual void CloseInput() = 0;

        /// Counts the bytes of the last FillInput as delivered.
        virtual void InputAccepted(int theBytes) = 0;

        /// Bytes delivered so far, for messages.
        virtual std::uint64_t GetInputTotal() const = 0;

        /// The library's first warning of an image that the pixels suffer from, and the first of a rule that
        /// is broken without harm to them.
        virtual void Warn(const char* theText, bool theIsDamage) = 0;

        /// Whether the library prints the first warning of an image on standard error, as it does by itself.
        /// theIsOfDepth: it says that samples lose bits.
        virtual bool IsPrinting(bool theIsOfDepth) const = 0;

        /// Whether an image whose data end early is decoded as far as they go; otherwise that is an error.
        virtual bool MayEndEarly() const = 0;

        /// The data ended early, and theMissing of theTotal pixels are blank. False where too little is left:
        /// that is the error after all.
        virtual bool AcceptMissing(std::uint64_t theMissing, std::uint64_t theTotal) = 0;
    };

    /// The most bytes that one fill may deliver.
    static constexpr int kInputCapacity = 32768;

    virtual ~JPEGLibrary() = default;

    /// The standard error manager with our error exit.
    virtual void SetErrorHandler() = 0;

    /// Reads up to the first scan. Calculates the output dimensions, touches no other parameter.
    virtual void ReadHeader(Client& theClient) = 0;

    virtual JPEGFrameHeader GetHeader() const = 0;

    /// Which path Decode takes; AUTOMATIC from the beginning. For tests.
    virtual void SetPath(JPEGPath thePath) = 0;
    virtual JPEGPath GetPath() const = 0;

    virtual void SetColorSpace(JPEGColorSpace theSpace) = 0;
    virtual void SetOutputColorSpace(JPEGColorSpace theSpace) = 0;

    /// Bytes of the decoded image with the present output colour space; 0 before the header was read.
    virtual std::uint64_t GetOutputSize() const = 0;

    /// Decodes the first theRows rows of the image into theBuffer, GetOutputSize() bytes. Where these are not
    /// all, what comes behind them is left unread as far as can be.
    virtual void Decode(Client& theClient, std::uint8_t* theBuffer, std::uint32_t theRows) = 0;

    /// Ends the image whose header was read, in place of Decode, for a decoder that took over from there:
    /// leaves the library as Decode does, after success or after an exception.
    virtual void EndImage(bool isDone) = 0;

    /// Forgets the input not yet read: its buffer leaves the codec.
    virtual void DropInput() = 0;
};
