package org.palvorin;

import static org.junit.Assert.assertArrayEquals;
import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertNull;
import static org.junit.Assert.assertTrue;
import static org.palvorin.Support.*;

import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import org.junit.Test;

public class cVORTFileTest {
    private record FrameCase(String name, byte[] item, byte[] frame) {}

    // Frames stuffed by hand; the check sequences were worked out bit by bit from the CRC-16/X-25
    // polynomial. Null: no frame.
    private static final FrameCase[] FRAME_CASES = {
        new FrameCase("flag byte", item(3, bytes(0x7E)), bytes(0x7D, 0x5E, 0x81, 0x6A, 0x7E)),
        new FrameCase("escape byte", item(4, bytes(0x7D)), bytes(0x7D, 0x5D, 0x1A, 0x58, 0x7E)),
        new FrameCase("nothing to stuff", item(3, bytes(1, 2, 3)), bytes(1, 2, 3, 0x3B, 0x9D, 0x7E)),
        new FrameCase(
            "low check byte stuffed", item(3, bytes(0x10, 0x65)), bytes(0x10, 0x65, 0x7D, 0x5D, 0xAE, 0x7E)),
        new FrameCase("the protocol type is not framed", item(0x12345678, bytes(1, 2, 3)),
            bytes(1, 2, 3, 0x3B, 0x9D, 0x7E)),
        new FrameCase("null", null, null),
        new FrameCase("empty", new byte[0], null),
        new FrameCase("shorter than the protocol type", bytes(3, 0, 0), null),
        new FrameCase("protocol type only", bytes(3, 0, 0, 0), null),
        new FrameCase("packet over 16640 bytes", item(3, new byte[16641]), null),
        new FrameCase("frame over 16640 bytes", item(3, filled(9000, 0x7E)), null),
    };

    private static byte[] filled(int size, int value) {
        byte[] out = new byte[size];
        Arrays.fill(out, (byte) value);
        return out;
    }

    @Test
    public void hdlcEncodeFramesThePacketAfterTheProtocolType() {
        for (FrameCase c : FRAME_CASES) {
            byte[] before = c.item == null ? null : c.item.clone();
            assertArrayEquals(c.name, c.frame, cVORTFile.HDLCEncode(c.item));
            assertArrayEquals(c.name + ": the array is left as it was", before, c.item);
        }
    }

    @Test
    public void hdlcEncodeOfALargePacket() {
        byte[] packet = filled(8000, 0x7E); // 16000 stuffed bytes, check bytes and flag: still fits
        byte[] frame = cVORTFile.HDLCEncode(item(3, packet));
        byte[] stuffed = new byte[16000];
        for (int i = 0; i < stuffed.length; i += 2) {
            stuffed[i] = 0x7D;
            stuffed[i + 1] = 0x5E;
        }
        assertArrayEquals(stuffed, slice(frame, 0, 16000));
        assertTrue(
            "two check bytes, either stuffed, and the flag", frame.length >= 16003 && frame.length <= 16005);
        assertEquals(0x7E, frame[frame.length - 1] & 0xFF);
    }

    @Test
    public void getVerInfoRefusesShortArrays() {
        assertNull(cVORTFile.GetVerInfo(null));
        assertNull(cVORTFile.GetVerInfo(new byte[0]));
        assertNull(cVORTFile.GetVerInfo(new byte[7]));
    }

    private static byte[] slice(byte[] bytes, int from, int size) {
        return Arrays.copyOfRange(bytes, from, from + size);
    }

    private static byte[] text(String s) { return s.getBytes(StandardCharsets.US_ASCII); }

    @Test
    public void getVerInfoAnswersThreeThenTheRecordLessItsLastFourBytes() {
        byte[] value = bytes(0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99);
        byte[] before = value.clone();
        byte[] answer = cVORTFile.GetVerInfo(value);
        assertArrayEquals("the array is left as it was", before, value);
        assertEquals(165, answer.length);
        assertArrayEquals(bytes(3, 0, 0, 0), slice(answer, 0, 4));
        // The record follows at answer offset 4: log packet header, length 161 twice, log code 0x1FFD.
        assertArrayEquals(bytes(0x10, 0x00, 0xA1, 0x00, 0xA1, 0x00, 0xFD, 0x1F), slice(answer, 4, 8));
        assertArrayEquals(
            "only the first 8 bytes are the timestamp", slice(value, 0, 8), slice(answer, 12, 8));
        assertArrayEquals("version 3.0", bytes(3, 0, 0, 0), slice(answer, 20, 4));
        assertArrayEquals(concat(text("011"), new byte[4]), slice(answer, 24, 7));
        assertArrayEquals(concat(text("ZOV-Tarnik"), new byte[30]), slice(answer, 31, 40));
        assertArrayEquals(concat(text("Jan 29 2018"), new byte[7]), slice(answer, 71, 18));
        assertArrayEquals("record bytes 95 to 160 are zero", new byte[66], slice(answer, 99, 66));
    }
}
