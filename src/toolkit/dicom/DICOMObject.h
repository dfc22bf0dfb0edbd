// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/DataDictionary.h"
#include "toolkit/dicom/VR.h"

/// A set of data elements, with a scratch pad of named values beside it.
///
/// The file meta group (0002,xxxx) lives in the same set. Pixel Data (7FE0,0010) is held apart as the VR
/// it was given as, so that large values are never copied. Integer getters read US, SS, UL, SL, IS and
/// DS; an element that is present but empty counts as absent for integers and as "" for strings.
/// Strings come without trailing blanks and NULs. Not thread-safe: one data set, one thread at a time.
class QUORIX_API DICOMObject
{
public:
    /// An empty set. theEndian: see GetEndian.
    explicit DICOMObject(DLEndian::Endian theEndian = DLEndian::LITTLE_ENDIAN_ORDER);
    virtual ~DICOMObject();
    DICOMObject(const DICOMObject&) = delete;
    DICOMObject& operator=(const DICOMObject&) = delete;

    /// Byte order of the transfer syntax that the set was read from. Setting it converts nothing.
    /// @{
    DLEndian::Endian GetEndian() const { return itsEndian; }
    void SetEndian(DLEndian::Endian theEndian) { itsEndian = theEndian; }
    /// @}

    /// The private elements that can be addressed by name.
    const DataDictionary& GetDataDictionary() const { return DataDictionary::GetDefaultInstance(); }

    /// The value as text, all values of a multi-valued element with their backslashes. False (theValue
    /// unchanged) when absent or when the value is no text and no number.
    bool GetString(DICOMTag theTag, RWCString& theValue) const;

    /// The first value as a number. False (theValue unchanged) when absent, empty, out of the type's range
    /// or no number.
    /// @{
    bool GetInteger(DICOMTag theTag, std::int32_t& theValue) const;
    bool GetUnsignedShort(DICOMTag theTag, std::uint16_t& theValue) const;
    /// @}

    /// The value's bytes as they would stand in a little-endian file. False when absent or a sequence.
    bool GetBytes(DICOMTag theTag, std::vector<std::uint8_t>& theValue) const;

    /// Whether there is such an element, also an empty one.
    bool Contains(DICOMTag theTag) const;

    /// Whether there is such an element, and it is a sequence, also one without items.
    bool IsSequence(DICOMTag theTag) const;

    /// All tags of the set, in ascending order; (7FE0,0010) is among them when pixel data is held.
    std::vector<DICOMTag> GetTags() const;

    /// Puts an element in, in place of one with its tag if there is one. A null pointer does nothing.
    /// Throws DICOMLibException (code 6) when the element's value cannot be held (a pixel stream).
    void ReplaceVR(std::unique_ptr<VR> theVR);

    /// Gives an element other than Pixel Data one value, as ReplaceVR of one made by MVRFactory would: of US,
    /// or of text in the type that the dictionary has for the tag. One that has just this value stays as it
    /// is, which costs a fraction.
    /// @{
    void PutUnsignedShort(DICOMTag theTag, std::uint16_t theValue);
    void PutString(DICOMTag theTag, const RWCString& theValue);
    /// @}

    /// Puts an element in; false, with nothing changed, when its tag is taken.
    bool AddVR(std::unique_ptr<VR>&& theVR);

    /// Takes an element out; null when absent.
    std::unique_ptr<VR> RemoveVR(DICOMTag theTag);

    /// The pixel data held apart, or null. Borrowed.
    /// @{
    VR* GetPixelData() { return itsPixelData.get(); }
    const VR* GetPixelData() const { return itsPixelData.get(); }
    /// @}

    /// Number of items of a sequence; 0 when it is absent or no sequence.
    std::size_t GetSequenceItemCount(DICOMTag theTag) const;

    /// Reads a string of one item of a sequence; false as in GetString and where there is no such item.
    bool GetSequenceItemString(DICOMTag theSequence, std::size_t theItem, DICOMTag theTag,
                               RWCString& theValue) const;

    /// The same from the first item of a sequence inside that item.
    bool GetNestedItemString(DICOMTag theSequence, std::size_t theItem, DICOMTag theInner, DICOMTag theTag,
                             RWCString& theValue) const;

    /// An element of a sequence's item, or of the first item of a sequence in that.
    struct ItemPlace
    {
        DICOMTag itsSequence; ///< in the item; None for an element of the item itself
        DICOMTag itsTag;      ///< of the element
    };

    /// Calls theReceiver for each item of a sequence, in their order, with the texts at thePlaces, empty
    /// where there is none. Its argument is valid during the call.
    void ForEachSequenceItem(DICOMTag theSequence, const std::vector<ItemPlace>& thePlaces,
                             const std::function<void(const std::vector<RWCString>&)>& theReceiver) const;

    /// Appends an item, emptying theItem, to a sequence of this set. False when there is no such sequence.
    bool AddSequenceItem(DICOMTag theSequence, DICOMObject& theItem);

    /// Whether a creator element of this name reserves a block in any private group.
    bool ContainsPrivateCreator(const RWCString& theCreator) const;

    /// Private elements by creator and name (see DataDictionary), wherever the set reserves the block. False
    /// and null as for public elements, and for a name that the dictionary does not know.
    /// @{
    bool GetPrivateString(const RWCString& theCreator, const RWCString& theName, RWCString& theValue) const;
    bool GetPrivateInteger(const RWCString& theCreator, const RWCString& theName,
                           std::int32_t& theValue) const;
    std::unique_ptr<VR> RemovePrivateVR(const RWCString& theCreator, const RWCString& theName);
    /// @}

    /// Puts in the creator element (1021,0016) unless the set already reserves a block for theCreator.
    void ReservePrivateBlock(const RWCString& theCreator);

    /// Values that travel with the data set but are no part of what is written. False when absent.
    /// @{
    bool GetScratchpadValue(const RWCString& theName, RWCString& theValue) const;
    void SetScratchpadValue(const RWCString& theName, const RWCString& theValue);
    /// @}

    /// Drops what decoding has kept of the image, see ScratchpadKeys; other scratch pad values stay.
    virtual void ForgetDecoding();

    /// Makes elements, scratch pad and byte order those of theOther. Pixel data is not copied; what this set
    /// holds stays.
    void CopyAttributes(const DICOMObject& theOther);

    /// Loads a file into this set, adding to and replacing what it holds: a Part 10 file or a bare data
    /// set; of another image than the set held as ImageElements does. Elements at and after theStopTag are
    /// not read. Without a stop tag native Pixel Data is loaded
    /// too; encapsulated Pixel Data ends the load successfully, with the header in the set and no
    /// pixel data. Never throws: false with the reason in the two codes (3 and errno for a file that
    /// cannot be opened).
    bool LoadFromFile(const RWCString& thePath, DLResultCode& theResultCode, int& theSystemErrorCode,
                      DICOMTag theStopTag = DICOMTags::None);

    /// Writes a Part 10 file in a native transfer syntax (implicit or explicit little endian, explicit
    /// big endian), Pixel Data included, converting byte order on the way; the file meta group is made
    /// anew from the set. The pixels are never copied as a whole. Throws StreamIOException: code 67 for
    /// file errors, 6 for a set that cannot be written (no SOP Class or Instance UID are made up:
    /// missing ones are left out of the data set, and generated for the file meta group).
    void SaveToFile(const RWCString& thePath, const RWCString& theTransferSyntaxUID) const;

private:
    friend class DICOMObjectAccess; // the room's own way to the elements; keeps DCMTK out of this header

    struct Elements;
    std::unique_ptr<Elements> itsElements;
    std::unique_ptr<VR> itsPixelData;
    std::map<RWCString, RWCString> itsScratchpad;
    DLEndian::Endian itsEndian;
};
