// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpegls/detail/JPEGLSLibrary.h"

#include <memory>
#include <new>

#include <charls/charls.h>

#include "codecs/jpegls/detail/JPEGLSStream.h"

namespace
{
using Outcome = charls_jpegls_errc;

struct Destroyer
{
    void operator()(const charls_jpegls_decoder* theDecoder) const
    {
        charls_jpegls_decoder_destroy(theDecoder);
    }
};

/// Whether the library understood the headers as they were understood here: the size of the output relies on
/// it.
bool IsSameFrame(const charls_jpegls_decoder& theLibrary, const JPEGLSHeader& theHeader)
{
    charls_frame_info aFrame{};
    return charls_jpegls_decoder_get_frame_info(&theLibrary, &aFrame) == Outcome::success &&
           aFrame.width == theHeader.itsColumns && aFrame.height == theHeader.itsRows &&
           aFrame.bits_per_sample == theHeader.itsPrecision &&
           aFrame.component_count == theHeader.itsComponents;
}
} // namespace

bool JPEGLSLibrary::IsThere()
{
    return true;
}

const char* JPEGLSLibrary::Decode(std::span<const std::uint8_t> theStream, const JPEGLSHeader& theHeader,
                                  std::uint8_t* theOutput, std::uint64_t theSize)
{
    const std::unique_ptr<charls_jpegls_decoder, Destroyer> aLibrary(charls_jpegls_decoder_create());
    if (aLibrary == nullptr)
    {
        throw std::bad_alloc();
    }
    Outcome anOutcome =
        charls_jpegls_decoder_set_source_buffer(aLibrary.get(), theStream.data(), theStream.size());
    if (anOutcome == Outcome::success)
    {
        anOutcome = charls_jpegls_decoder_read_header(aLibrary.get());
    }
    if (anOutcome == Outcome::success && !IsSameFrame(*aLibrary, theHeader))
    {
        return "the headers contradict each other";
    }
    if (anOutcome == Outcome::success)
    {
        anOutcome = charls_jpegls_decoder_decode_to_buffer(aLibrary.get(), theOutput, theSize, 0);
    }
    if (anOutcome == Outcome::not_enough_memory)
    {
        throw std::bad_alloc();
    }
    return anOutcome == Outcome::success ? nullptr : charls_get_error_message(anOutcome);
}
