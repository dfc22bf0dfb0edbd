// SPDX-License-Identifier: Apache-2.0
package com.quorix.imageio;

import javax.imageio.ImageTypeSpecifier;
import javax.imageio.metadata.IIOMetadataFormat;
import javax.imageio.metadata.IIOMetadataFormatImpl;

/**
 * The tree in which a data set is shown: {@code element} nodes with the attributes {@code tag} (eight hexadecimal
 * digits), {@code keyword} (where the dictionary has one), {@code vr} and {@code value} (text and numbers, several
 * values with backslashes between them). A sequence has {@code item} nodes, which have {@code element} nodes again.
 */
public final class DicomMetadataFormat extends IIOMetadataFormatImpl {
    /** The tree's name and that of its root. */
    public static final String NAME = "com_quorix_dicom_1.0";

    static final String ELEMENT = "element";
    static final String ITEM = "item";
    static final String TAG = "tag";
    static final String KEYWORD = "keyword";
    static final String VR = "vr";
    static final String VALUE = "value";

    private static final DicomMetadataFormat INSTANCE = new DicomMetadataFormat();

    private DicomMetadataFormat() {
        super(NAME, 0, Integer.MAX_VALUE);
        addElement(ELEMENT, NAME, 0, Integer.MAX_VALUE);
        addAttribute(ELEMENT, TAG, DATATYPE_STRING, true, null);
        addAttribute(ELEMENT, KEYWORD, DATATYPE_STRING, false, null);
        addAttribute(ELEMENT, VR, DATATYPE_STRING, true, null);
        addAttribute(ELEMENT, VALUE, DATATYPE_STRING, false, null);
        addElement(ITEM, ELEMENT, 0, Integer.MAX_VALUE);
        addChildElement(ELEMENT, ITEM);
    }

    /** {@return the one instance} */
    public static IIOMetadataFormat getInstance() {
        return INSTANCE;
    }

    @Override
    public boolean canNodeAppear(String elementName, ImageTypeSpecifier imageType) {
        return true;
    }
}
