package org.palvorin;

import static org.junit.Assert.assertArrayEquals;
import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertNull;
import static org.palvorin.Support.*;

import java.util.Arrays;
import org.junit.Test;

public class cVORTFileTest {
    // The packet after the protocol type is framed (the native HDLC tests pin stuffing and the frame limit);
    // check bytes worked out by hand from the CRC-16/X-25 polynomial. Refused arrays give null.
    @Test
    public void hdlcEncodeFramesThePacketAfterTheProtocolType() {
        assertArrayEquals(
            bytes(1, 2, 3, 0x3B, 0x9D, 0x7E), cVORTFile.HDLCEncode(item(0x12345678, bytes(1, 2, 3))));
        byte[][] refused = {null, bytes(3, 0, 0), bytes(3, 0, 0, 0), item(3, new byte[16641])};
        for (byte[] array : refused) {
            assertNull(cVORTFile.HDLCEncode(array));
        }
    }

    // 3, then the tool-version record (its bytes pinned by the native store tests) with the 8 bytes given as
    // its timestamp, less the record's last 4 bytes.
    @Test
    public void getVerInfoAnswersThreeThenTheToolVersionRecordLessItsLastFourBytes() {
        assertNull(cVORTFile.GetVerInfo(null));
        assertNull(cVORTFile.GetVerInfo(new byte[7]));
        byte[] value = bytes(0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88);
        byte[] answer = cVORTFile.GetVerInfo(value);
        assertEquals(165, answer.length);
        assertArrayEquals(bytes(3, 0, 0, 0, 0x10, 0x00, 0xA1, 0x00, 0xA1, 0x00, 0xFD, 0x1F, 0x11, 0x22, 0x33,
                              0x44, 0x55, 0x66, 0x77, 0x88, 3, 0, 0, 0),
            Arrays.copyOf(answer, 24));
    }
}
