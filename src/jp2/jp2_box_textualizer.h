// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "toolkit/base/BaseTypes.h"

class kdu_compressed_source;

/// Describes the boxes of a JP2 file in words, for people.
class QUORIX_API jp2_box_textualizer
{
public:
    jp2_box_textualizer() = delete;

    /// Reads theSource, which stands at the first byte of the file, to its end. One line for each box, in
    /// file order, indented by two blanks for each box around it: the type, its name where it is known,
    /// length and position, and what the boxes of the JP2 header and the file type box say (palette,
    /// component mapping and channel definition among them). What is wrong with the boxes ends the list
    /// with a line that says so; so do more than theMostLines boxes. Lines are printable ASCII. What the
    /// source throws passes through. Thread-safe.
    static std::vector<std::string> Textualize(kdu_compressed_source& theSource,
                                               std::size_t theMostLines = 1000);
};
