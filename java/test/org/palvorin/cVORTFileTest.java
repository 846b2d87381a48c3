package org.palvorin;

import static org.junit.Assert.assertArrayEquals;
import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertNull;
import static org.palvorin.Support.*;

import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import org.junit.Test;

public class cVORTFileTest {
    private record FrameCase(String name, byte[] item, byte[] frame) {}

    private static byte[] filled(int size, int value) {
        byte[] out = new byte[size];
        Arrays.fill(out, (byte) value);
        return out;
    }

    private static byte[] largeFrame() {
        byte[] frame = new byte[16003];
        for (int i = 0; i < 16000; i += 2) {
            frame[i] = 0x7D;
            frame[i + 1] = 0x5E;
        }
        frame[16002] = 0x7E;
        return frame;
    }

    // Frames stuffed by hand; the check sequences were worked out bit by bit from the CRC-16/X-25
    // polynomial (the native HDLC tests hold the other stuffing cases). Null: no frame.
    private static final FrameCase[] FRAME_CASES = {
        new FrameCase("flag byte", item(3, bytes(0x7E)), bytes(0x7D, 0x5E, 0x81, 0x6A, 0x7E)),
        new FrameCase("nothing to stuff", item(3, bytes(1, 2, 3)), bytes(1, 2, 3, 0x3B, 0x9D, 0x7E)),
        new FrameCase("the protocol type is not framed", item(0x12345678, bytes(1, 2, 3)),
            bytes(1, 2, 3, 0x3B, 0x9D, 0x7E)),
        new FrameCase("null", null, null),
        new FrameCase("empty", new byte[0], null),
        new FrameCase("shorter than the protocol type", bytes(3, 0, 0), null),
        new FrameCase("protocol type only", bytes(3, 0, 0, 0), null),
        new FrameCase("packet over 16640 bytes", item(3, new byte[16641]), null),
        new FrameCase("frame over 16640 bytes", item(3, filled(9000, 0x7E)), null),
        new FrameCase("8000 flag bytes: 16003 bytes still fit", item(3, filled(8000, 0x7E)), largeFrame()),
    };

    @Test
    public void hdlcEncodeFramesThePacketAfterTheProtocolType() {
        for (FrameCase c : FRAME_CASES) {
            byte[] before = c.item == null ? null : c.item.clone();
            byte[] frame = cVORTFile.HDLCEncode(c.item);
            if (frame != null && c.frame != null && frame.length == 16003) {
                Arrays.fill(frame, 16000, 16002, (byte) 0); // the check bytes, unstuffed here
            }
            assertArrayEquals(c.name, c.frame, frame);
            assertArrayEquals(c.name + ": the array is left as it was", before, c.item);
        }
    }

    private static byte[] text(String s, int field) {
        return Arrays.copyOf(s.getBytes(StandardCharsets.US_ASCII), field);
    }

    @Test
    public void getVerInfoAnswersThreeThenTheToolVersionRecordLessItsLastFourBytes() {
        assertNull(cVORTFile.GetVerInfo(null));
        assertNull(cVORTFile.GetVerInfo(new byte[0]));
        assertNull(cVORTFile.GetVerInfo(new byte[7]));
        byte[] value = bytes(0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88);
        byte[] answer = cVORTFile.GetVerInfo(value.clone());
        // 3, then the record: log header with length 161 twice and log code 0x1FFD, the 8 bytes given as
        // its timestamp, version 3.0, build, tool name, date; from record byte 95 on zero.
        byte[] expected = concat(bytes(3, 0, 0, 0, 0x10, 0x00, 0xA1, 0x00, 0xA1, 0x00, 0xFD, 0x1F), value,
            bytes(3, 0, 0, 0), text("011", 7), text("ZOV-Tarnik", 40), text("Jan 29 2018", 18), new byte[10],
            new byte[66]);
        Arrays.fill(answer, 89, 99, (byte) 0); // the clock's seconds and milliseconds
        assertArrayEquals(expected, answer);
    }
}
