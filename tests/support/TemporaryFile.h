// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

/// A file with stated content in the folder for temporary files; gone with this object.
class TemporaryFile
{
public:
    explicit TemporaryFile(const std::vector<unsigned char>& theContent = {})
        : itsName((std::getenv("TMPDIR") != nullptr ? std::getenv("TMPDIR") : "/tmp") +
                  std::string("/quorix-test-XXXXXX"))
    {
        const int aDescriptor = ::mkstemp(itsName.data());
        if (aDescriptor >= 0)
        {
            ::close(aDescriptor);
        }
        std::ofstream(itsName, std::ios::binary)
            .write(reinterpret_cast<const char*>(theContent.data()),
                   static_cast<std::streamsize>(theContent.size()));
    }
    ~TemporaryFile() { ::unlink(itsName.c_str()); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const char* GetName() const { return itsName.c_str(); }

    std::vector<unsigned char> GetContent() const
    {
        std::ifstream aFile(itsName, std::ios::binary);
        return {std::istreambuf_iterator<char>(aFile), {}};
    }

private:
    std::string itsName;
};
