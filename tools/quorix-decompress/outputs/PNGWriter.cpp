// SPDX-License-Identifier: Apache-2.0
#include "outputs/FrameWriter.h"

#include <csetjmp>
#include <exception>

#include <png.h>

#include "outputs/OutputFile.h"
#include "outputs/Picture.h"

namespace
{
// Higher levels take several times as long and save a few percent on medical images.
constexpr int kCompressionLevel = 3;

/// libpng's two structures, destroyed with their scope, and the text of its last error.
class PNGHandle
{
public:
    PNGHandle()
        : itsPNG(png_create_write_struct(PNG_LIBPNG_VER_STRING, this, OnError, OnWarning)),
          itsInfo(itsPNG != nullptr ? png_create_info_struct(itsPNG) : nullptr)
    {
    }
    ~PNGHandle() { png_destroy_write_struct(&itsPNG, &itsInfo); }
    PNGHandle(const PNGHandle&) = delete;
    PNGHandle& operator=(const PNGHandle&) = delete;

    bool IsUsable() const { return itsInfo != nullptr; }
    png_structp GetPNG() const { return itsPNG; }
    png_infop GetInfo() const { return itsInfo; }
    /// Throws what the file did, or else what libpng said.
    [[noreturn]] void Throw() const
    {
        if (itsFailure != nullptr)
        {
            std::rethrow_exception(itsFailure);
        }
        throw OutputError("PNG: " + itsError);
    }

    /// Where libpng's bytes go; theFile is borrowed.
    void SetFile(OutputFile& theFile)
    {
        itsFile = &theFile;
        png_set_write_fn(itsPNG, this, WriteBytes, Flush);
    }

private:
    static void Flush(png_structp) {} // without one libpng takes the handle for a FILE
    static void WriteBytes(png_structp thePNG, png_bytep theBytes, std::size_t theCount)
    {
        auto* const aHandle = static_cast<PNGHandle*>(png_get_io_ptr(thePNG));
        try
        {
            aHandle->itsFile->Write(theBytes, theCount);
            return;
        }
        catch (...)
        {
            aHandle->itsFailure = std::current_exception();
        }
        png_longjmp(thePNG, 1); // no exception may pass through libpng, nor a jump leave a handler
    }
    static void OnError(png_structp thePNG, png_const_charp theText)
    {
        static_cast<PNGHandle*>(png_get_error_ptr(thePNG))->itsError = theText;
        png_longjmp(thePNG, 1);
    }
    static void OnWarning(png_structp, png_const_charp) {}

    std::string itsError;
    std::exception_ptr itsFailure;
    OutputFile* itsFile = nullptr;
    png_structp itsPNG;
    png_infop itsInfo;
};

struct Header
{
    png_uint_32 itsColumns;
    png_uint_32 itsRows;
    int itsDepth;
    int itsColourType;
    const char* itsComment; ///< null for none
};

// libpng reports errors by longjmp. The functions between here and there hold nothing that has a
// destructor, so none is jumped over. False on an error.

bool WriteHeader(png_structp thePNG, png_infop theInfo, const Header& theHeader)
{
    if (setjmp(png_jmpbuf(thePNG)) != 0)
    {
        return false;
    }
    png_set_compression_level(thePNG, kCompressionLevel);
    png_set_IHDR(thePNG, theInfo, theHeader.itsColumns, theHeader.itsRows, theHeader.itsDepth,
                 theHeader.itsColourType, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    if (theHeader.itsComment != nullptr)
    {
        char aKey[] = "Comment";
        png_text aText{};
        aText.compression = PNG_TEXT_COMPRESSION_NONE;
        aText.key = aKey;
        aText.text = const_cast<char*>(theHeader.itsComment); // libpng copies it
        png_set_text(thePNG, theInfo, &aText, 1);
    }
    png_write_info(thePNG, theInfo);
    if (theHeader.itsDepth < 8)
    {
        png_set_packing(thePNG);
    }
    return true;
}

bool WriteRow(png_structp thePNG, const unsigned char* theBytes)
{
    if (setjmp(png_jmpbuf(thePNG)) != 0)
    {
        return false;
    }
    png_write_row(thePNG, theBytes);
    return true;
}

bool WriteEnd(png_structp thePNG)
{
    if (setjmp(png_jmpbuf(thePNG)) != 0)
    {
        return false;
    }
    png_write_end(thePNG, nullptr);
    return true;
}

void Check(bool isGood, const PNGHandle& theHandle)
{
    if (!isGood)
    {
        theHandle.Throw();
    }
}
} // namespace

void PNGWriter::Write(const DecodedFrame& theFrame, TemporaryFile& theFile) const
{
    Picture aPicture(theFrame, itsWindow);
    OutputFile aFile(theFile);
    PNGHandle aHandle;
    if (!aHandle.IsUsable())
    {
        throw OutputError("PNG: out of memory");
    }
    const std::string aComment = "sample = value + " + std::to_string(aPicture.GetOffset());
    const Header aHeader{aPicture.GetColumns(), aPicture.GetRows(), aPicture.GetDepth(),
                         aPicture.IsColour() ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY,
                         aPicture.GetOffset() != 0 ? aComment.c_str() : nullptr};
    aHandle.SetFile(aFile);
    Check(WriteHeader(aHandle.GetPNG(), aHandle.GetInfo(), aHeader), aHandle);
    std::vector<unsigned char> aRow;
    for (std::uint32_t aRowIndex = 0; aRowIndex < aPicture.GetRows(); ++aRowIndex)
    {
        aPicture.GetRow(aRowIndex, aRow);
        Check(WriteRow(aHandle.GetPNG(), aRow.data()), aHandle);
    }
    Check(WriteEnd(aHandle.GetPNG()), aHandle);
    aFile.Close();
}
