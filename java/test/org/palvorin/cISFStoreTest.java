package org.palvorin;

import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertFalse;
import static org.junit.Assert.assertTrue;
import static org.palvorin.Support.*;

import java.io.File;
import java.util.HexFormat;
import java.util.List;
import org.junit.Rule;
import org.junit.Test;
import org.junit.rules.TemporaryFolder;

public class cISFStoreTest {
    @Rule public TemporaryFolder mFolder = new TemporaryFolder();

    private String newPath(String name) { return new File(mFolder.getRoot(), name).getPath(); }

    @Test
    public void handleZeroNullPathAndNonAsciiPath() {
        byte[] log = bytes(0x10, 0, 1, 2);
        assertEquals(cISFStore.STATUS_BAD_ARGUMENTS, cISFStore.OpenNewFileStore(0, newPath("zero.isf")));
        assertEquals(cISFStore.STATUS_BAD_ARGUMENTS, cISFStore.WriteItem(0, item(3, log)));
        assertEquals(cISFStore.STATUS_BAD_ARGUMENTS, cISFStore.WriteItemWithTS(0, stampedItem(0, 3, log)));
        assertEquals(0, cISFStore.CloseFileStore(0));
        cISFStore.DeleteISFStore(0);
        assertFalse("nothing was created", new File(newPath("zero.isf")).exists());
        long store = cISFStore.GetISFStore();
        assertEquals(cISFStore.STATUS_BAD_ARGUMENTS, cISFStore.OpenNewFileStore(store, null));
        assertEquals(0, cISFStore.OpenNewFileStore(store, newPath("\u00e9t\u00e9.isf")));
        cISFStore.DeleteISFStore(store);
        assertTrue("a non-ASCII path reaches the file system as UTF-8",
            new File(newPath("\u00e9t\u00e9.isf")).exists());
    }

    // Items written from Java, read back by the reader of tools/; null arrays (12) and arrays too short for
    // their prefix (22) add nothing.
    @Test
    public void itemsWrittenFromJavaReadBackAfterDeletingTheStore() throws Exception {
        long store = cISFStore.GetISFStore();
        String path = newPath("round-trip.isf");
        assertEquals(0, cISFStore.OpenNewFileStore(store, path));
        byte[] log = bytes(0x10, 0, 1, 2); // a log too short for its header
        byte[] request = bytes(0x1D);
        byte[] response = bytes(0x4B, 0x12, 0x00, 0x00, 9);
        assertEquals(12, cISFStore.WriteItem(store, null));
        assertEquals(12, cISFStore.WriteItemWithTS(store, null));
        assertEquals(22, cISFStore.WriteItem(store, bytes(3, 0, 0, 0)));
        assertEquals(22, cISFStore.WriteItemWithTS(store, stampedItem(UNIX_EPOCH_FILETIME, 3, new byte[0])));
        long before = System.currentTimeMillis() + UNIX_EPOCH_MS_SINCE_1601;
        assertEquals(0, cISFStore.WriteItem(store, item(3, log)));
        assertEquals(0, cISFStore.WriteItem(store, item(4, request)));
        long after = System.currentTimeMillis() + UNIX_EPOCH_MS_SINCE_1601;
        assertEquals(0, cISFStore.WriteItemWithTS(store, stampedItem(UNIX_EPOCH_FILETIME, 3, response)));
        // 2024-02-29 12:34:56.789 UTC: 13353395696789 ms since 1601.
        assertEquals(
            0, cISFStore.WriteItemWithTS(store, stampedItem(13353395696789L * 10000 + 1234, 514, request)));
        cISFStore.DeleteISFStore(store); // finishes the file

        List<String> lines = readIsf(path);
        assertEquals("file closed=1 items=5 trailer=5 problems=0", lines.get(0));
        assertEquals("the tool-version record, then the items", 6, lines.size());
        // Each item as "type aux payload", and its time in ms since 1601.
        HexFormat hex = HexFormat.of();
        String[] expected = {"0 - " + hex.formatHex(log), "2 - " + hex.formatHex(request),
            "9 - " + hex.formatHex(response), "7 - " + hex.formatHex(request)};
        long[] times = new long[4];
        for (int i = 0; i < 4; ++i) {
            String[] fields = lines.get(i + 2).split(" ");
            assertEquals("item " + i, expected[i], fields[1] + " " + fields[3] + " " + fields[4]);
            times[i] = Long.parseLong(fields[2]);
        }
        assertTrue("stamped with the current time",
            before <= times[0] && times[0] <= times[1] && times[1] <= after);
        assertEquals("1970-01-01 00:00:00 UTC", UNIX_EPOCH_MS_SINCE_1601, times[2]);
        assertEquals(13353395696789L, times[3]);
    }

    // The placeholder only logs its input and the directory of it, and writes nothing (a path without a
    // directory: the null one).
    @Test
    public void generatePcapOnlyLogsItsInputAndDirectory() throws Exception {
        assertEquals(List.of("jni/Entry.cpp: Running PCAPGenerator on /sdcard/logs/a.bin to /sdcard/logs/",
                         "jni/Entry.cpp: PCAPGenerator 0"),
            probeLog("/sdcard/logs/a.bin"));
        String path = newPath("untouched.isf");
        assertEquals(0, cISFStore.GeneratePCAP(path));
        assertEquals(0, cISFStore.GeneratePCAP(null));
        assertFalse("no file is written", new File(path).exists());
    }
}
