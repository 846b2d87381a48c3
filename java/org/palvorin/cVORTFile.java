package org.palvorin;

/** Framing and version functions of libPalvorin for the device log. Both report failure with null. */
public final class cVORTFile {
    static { System.loadLibrary("Palvorin"); }

    private cVORTFile() {}

    /**
     * Frames a packet for the diagnostic serial link (async HDLC: CRC-16 low byte first, 0x7D/0x7E
     * stuffed, closing 0x7E; no opening flag). Layout of {@code item}: bytes 0-3 the protocol type
     * (unsigned 32-bit little-endian), bytes 4 onwards the packet (1 to 16640 bytes). Returns the frame,
     * or null for a null or too short array, or a frame longer than 16640 bytes.
     */
    public static native byte[] HDLCEncode(byte[] item);

    /**
     * Returns the 165-byte tool-version answer: 03 00 00 00, then the first 161 bytes of the tool-version
     * record (a log packet with log code 0x1FFD). Bytes 0-7 of {@code value} are the record's timestamp
     * in the diagnostic time format (unsigned 64-bit little-endian); null for a null array or one shorter
     * than 8 bytes.
     */
    public static native byte[] GetVerInfo(byte[] value);
}
