// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

class jp2_family_src;

/// The box types that this library knows, as they stand in files.
namespace JP2BoxTypes
{
constexpr std::uint32_t Make(const char (&theName)[5])
{
    std::uint32_t aType = 0;
    for (int i = 0; i < 4; ++i)
    {
        aType = aType << 8 | static_cast<unsigned char>(theName[i]);
    }
    return aType;
}

inline constexpr std::uint32_t Signature = Make("jP  ");
inline constexpr std::uint32_t FileType = Make("ftyp");
inline constexpr std::uint32_t Header = Make("jp2h");
inline constexpr std::uint32_t ImageHeader = Make("ihdr");
inline constexpr std::uint32_t BitsPerComponent = Make("bpcc");
inline constexpr std::uint32_t Colour = Make("colr");
inline constexpr std::uint32_t Palette = Make("pclr");
inline constexpr std::uint32_t ComponentMapping = Make("cmap");
inline constexpr std::uint32_t ChannelDefinition = Make("cdef");
inline constexpr std::uint32_t Resolution = Make("res ");
inline constexpr std::uint32_t CaptureResolution = Make("resc");
inline constexpr std::uint32_t DisplayResolution = Make("resd");
inline constexpr std::uint32_t Codestream = Make("jp2c");
} // namespace JP2BoxTypes

/// Goes through the boxes of a JP2 file from front to back (ISO/IEC 15444-1 I.4).
///
/// Nothing that a box says of its length is trusted: what lies outside the box around it, or is shorter than
/// its own header, ends the walk. Work and memory follow the bytes that are really there. The file is
/// borrowed. Not thread-safe.
class JP2BoxWalker
{
public:
    /// How deep boxes can be entered.
    static constexpr std::size_t kMaximumDepth = 4;

    /// The length of a box that reaches to the end of the file.
    static constexpr std::uint64_t kUnknownLength = UINT64_MAX;

    enum class Step
    {
        BOX,   ///< at the first byte of a box's contents
        END,   ///< the file ends where a box could begin
        BROKEN ///< see GetProblem
    };

    explicit JP2BoxWalker(jp2_family_src& theFile) : itsFile(theFile) {}

    /// Skips what is left of the present box and goes to the box after it, which may stand further up.
    Step Next();

    /// The next Next goes to the first box inside the present one. False, with nothing changed, at the
    /// greatest depth and for a box that reaches to the end of the file.
    bool Enter();

    /// Reads contents of the present box: theCount bytes, fewer at the box's or the file's end.
    std::size_t Read(std::uint8_t* theBytes, std::size_t theCount);

    std::uint32_t GetType() const { return itsType; }

    /// Where the present box's header begins, from the start of the file.
    std::uint64_t GetPosition() const { return itsBoxPosition; }

    /// Bytes of the present box, its header among them; kUnknownLength where it reaches to the file's end.
    std::uint64_t GetLength() const { return itsBoxLength; }

    /// Bytes of the present box's contents that have not been read; kUnknownLength as above.
    std::uint64_t GetRemaining() const;

    /// Boxes around the present one.
    std::size_t GetDepth() const { return itsDepth; }

    /// What is wrong with the file, with the position, after BROKEN.
    const std::string& GetProblem() const { return itsProblem; }

private:
    bool SkipRest();
    Step ReadHeader();
    bool TakeLength(std::uint64_t theLength, std::uint64_t theHeaderLength);
    Step Fail(const std::string& theText);
    std::uint64_t GetLevelEnd() const { return itsDepth == 0 ? kUnknownLength : itsEnds[itsDepth - 1]; }

    jp2_family_src& itsFile;
    std::array<std::uint64_t, kMaximumDepth> itsEnds{}; ///< of the boxes around the present one
    std::size_t itsDepth = 0;
    std::uint32_t itsType = 0;
    std::uint64_t itsBoxPosition = 0;
    std::uint64_t itsBoxLength = 0;
    std::uint64_t itsBoxEnd = 0; ///< where the present box's contents end, kUnknownLength for the file's
    std::string itsProblem;
};
