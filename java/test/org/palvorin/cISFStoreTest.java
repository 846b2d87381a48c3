package org.palvorin;

import static org.junit.Assert.assertArrayEquals;
import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertFalse;
import static org.junit.Assert.assertNotEquals;
import static org.junit.Assert.assertNull;
import static org.junit.Assert.assertTrue;
import static org.palvorin.Support.*;

import java.io.File;
import java.util.List;
import org.junit.After;
import org.junit.Before;
import org.junit.Rule;
import org.junit.Test;
import org.junit.rules.TemporaryFolder;

public class cISFStoreTest {
    @Rule public TemporaryFolder mFolder = new TemporaryFolder();

    private long mStore;

    @Before
    public void createStore() {
        mStore = cISFStore.GetISFStore();
        assertNotEquals(0, mStore);
    }

    @After
    public void deleteStore() {
        cISFStore.DeleteISFStore(mStore);
    }

    private String newPath(String name) { return new File(mFolder.getRoot(), name).getPath(); }

    private record WriteCase(String name, boolean stamped, byte[] array, int status) {}

    private static final byte[] GOOD_PACKET = logPacket(0x1234, 20, 7);

    // 22 for an array too short for its prefix plus one packet byte, an unknown protocol type or a packet
    // over 16640 bytes; 12 for a null array.
    private static final WriteCase[] WRITE_CASES = {
        new WriteCase("null", false, null, 12),
        new WriteCase("empty", false, new byte[0], 22),
        new WriteCase("shorter than the protocol type", false, bytes(3, 0, 0), 22),
        new WriteCase("protocol type only", false, bytes(3, 0, 0, 0), 22),
        new WriteCase("one packet byte", false, bytes(3, 0, 0, 0, 0x1D), 0),
        new WriteCase("unknown protocol type 11", false, item(11, GOOD_PACKET), 22),
        new WriteCase("largest packet", false, item(3, new byte[16640]), 0),
        new WriteCase("packet one byte too long", false, item(3, new byte[16641]), 22),
        new WriteCase("stamped: null", true, null, 12),
        new WriteCase("stamped: empty", true, new byte[0], 22),
        new WriteCase("stamped: one byte short of the prefix", true, new byte[11], 22),
        new WriteCase("stamped: prefix only", true, stampedItem(UNIX_EPOCH_FILETIME, 3, new byte[0]), 22),
        new WriteCase("stamped: one packet byte", true, stampedItem(UNIX_EPOCH_FILETIME, 3, bytes(0x4B)), 0),
        new WriteCase("stamped: unknown protocol type 29", true, stampedItem(0, 29, GOOD_PACKET), 22),
        new WriteCase("stamped: largest packet", true, stampedItem(0, 3, new byte[16640]), 0),
        new WriteCase("stamped: packet one byte too long", true, stampedItem(0, 3, new byte[16641]), 22),
    };

    private static int write(long store, WriteCase c) {
        return c.stamped ? cISFStore.WriteItemWithTS(store, c.array) : cISFStore.WriteItem(store, c.array);
    }

    @Test
    public void writeStatusesForGoodAndBadArraysWithAndWithoutAFile() throws Exception {
        for (WriteCase c : WRITE_CASES) {
            if (c.status == 0) {
                assertEquals(c.name + ", no file open", 0, write(mStore, c));
            }
        }
        assertEquals(0, cISFStore.OpenNewFileStore(mStore, newPath("statuses.isf")));
        for (WriteCase c : WRITE_CASES) {
            byte[] before = c.array == null ? null : c.array.clone();
            assertEquals(c.name, c.status, write(mStore, c));
            assertArrayEquals(c.name + ": the array is left as it was", before, c.array);
        }
    }

    @Test
    public void handleZeroAndOpenStatuses() {
        assertEquals(cISFStore.STATUS_BAD_ARGUMENTS, cISFStore.OpenNewFileStore(0, newPath("zero.isf")));
        assertEquals(cISFStore.STATUS_BAD_ARGUMENTS, cISFStore.WriteItem(0, item(3, GOOD_PACKET)));
        assertEquals(
            cISFStore.STATUS_BAD_ARGUMENTS, cISFStore.WriteItemWithTS(0, stampedItem(0, 3, GOOD_PACKET)));
        assertEquals(0, cISFStore.CloseFileStore(0));
        cISFStore.DeleteISFStore(0);
        assertFalse("nothing was created", new File(newPath("zero.isf")).exists());
        assertEquals(cISFStore.STATUS_IO, cISFStore.OpenNewFileStore(mStore, newPath("missing/dir/a.isf")));
        assertEquals(cISFStore.STATUS_BAD_ARGUMENTS, cISFStore.OpenNewFileStore(mStore, null));
        assertEquals(0, cISFStore.OpenNewFileStore(mStore, newPath("\u00e9t\u00e9.isf")));
        assertTrue("a non-ASCII path reaches the file system as UTF-8",
            new File(newPath("\u00e9t\u00e9.isf")).exists());
    }

    @Test
    public void itemsWrittenFromJavaReadBackAfterDeletingTheStore() throws Exception {
        long store = cISFStore.GetISFStore();
        String path = newPath("round-trip.isf");
        assertEquals(0, cISFStore.OpenNewFileStore(store, path));
        byte[] log = logPacket(0x1234, 40, 0xCAFE);
        byte[] request = bytes(0x1D, 1, 2);
        byte[] response = bytes(0x4B, 0x12, 0x00, 0x00, 9);
        long before = System.currentTimeMillis() + UNIX_EPOCH_MS_SINCE_1601;
        assertEquals(0, cISFStore.WriteItem(store, item(3, log)));
        assertEquals(0, cISFStore.WriteItem(store, item(4, request)));
        long after = System.currentTimeMillis() + UNIX_EPOCH_MS_SINCE_1601;
        assertEquals(0, cISFStore.WriteItemWithTS(store, stampedItem(UNIX_EPOCH_FILETIME, 3, response)));
        // 2024-02-29 12:34:56.789 UTC: 13353395696789 ms since 1601.
        assertEquals(
            0, cISFStore.WriteItemWithTS(store, stampedItem(13353395696789L * 10000 + 1234, 514, request)));
        cISFStore.DeleteISFStore(store); // finishes the file

        IsfFile file = readIsf(path);
        assertEquals(List.of(), file.problems());
        assertTrue(file.closed());
        assertEquals(5, file.trailerCount());
        List<Item> items = file.items();
        assertEquals(5, items.size());
        assertEquals("the tool-version record comes first, as a log item", 5, items.get(0).type());
        assertEquals(0x1FFD, le32(items.get(0).payload(), 4) >>> 16);
        int[] types = {5, 2, 9, 7};
        byte[][] payloads = {log, request, response, request};
        for (int i = 1; i < 5; ++i) {
            assertEquals("item " + i, types[i - 1], items.get(i).type());
            assertArrayEquals("item " + i, payloads[i - 1], items.get(i).payload());
        }
        assertTrue("stamped with the current time",
            before <= items.get(1).timeMs() && items.get(1).timeMs() <= items.get(2).timeMs()
                && items.get(2).timeMs() <= after);
        assertEquals("1970-01-01 00:00:00 UTC", UNIX_EPOCH_MS_SINCE_1601, items.get(3).timeMs());
        assertEquals(13353395696789L, items.get(4).timeMs());
        assertNull(items.get(4).aux());
    }

    @Test
    public void severalThreadsWriteToOneStore() throws Exception {
        final int threads = 4;
        final int items = 3000; // 12001 items in all: the file needs a second index block
        String path = newPath("threads.isf");
        assertEquals(0, cISFStore.OpenNewFileStore(mStore, path));
        Thread[] writers = new Thread[threads];
        int[] failures = new int[threads];
        for (int t = 0; t < threads; ++t) {
            final int thread = t;
            writers[t] = new Thread(() -> {
                for (int i = 0; i < items; ++i) {
                    byte[] packet = logPacket(0x1234, 24, thread);
                    System.arraycopy(le(i, 4), 0, packet, 20, 4);
                    int status = (i % 2) == 1
                        ? cISFStore.WriteItemWithTS(mStore, stampedItem(UNIX_EPOCH_FILETIME, 3, packet))
                        : cISFStore.WriteItem(mStore, item(3, packet));
                    failures[thread] += status != 0 ? 1 : 0;
                }
            });
            writers[t].start();
        }
        for (Thread writer : writers) {
            writer.join();
        }
        assertArrayEquals(new int[threads], failures);
        cISFStore.CloseFileStore(mStore);

        IsfFile file = readIsf(path);
        assertEquals(List.of(), file.problems());
        assertEquals(1 + threads * items, file.items().size());
        int[] next = new int[threads];
        for (Item item : file.items().subList(1, file.items().size())) {
            int thread = le32(item.payload(), 16);
            assertEquals("thread " + thread + " in order", next[thread], le32(item.payload(), 20));
            assertTrue(next[thread] % 2 == 0 || item.timeMs() == UNIX_EPOCH_MS_SINCE_1601);
            ++next[thread];
        }
        assertArrayEquals(new int[] {items, items, items, items}, next);
    }

    @Test
    public void generatePcapOnlyLogsItsInputAndDirectory() throws Exception {
        String[][] cases = {
            {"/sdcard/logs/a.bin", "/sdcard/logs/"},
            {"a.bin", ""},
            {"/a.bin", "/"},
            {"logs/", "logs/"},
        };
        for (String[] c : cases) {
            assertEquals(c[0],
                List.of("jni/Entry.cpp: Running PCAPGenerator on " + c[0] + " to " + c[1],
                    "jni/Entry.cpp: PCAPGenerator 0"),
                probeLog("pcap", c[0]));
        }
        String path = newPath("untouched.isf");
        assertEquals(0, cISFStore.GeneratePCAP(path));
        assertEquals(0, cISFStore.GeneratePCAP(null));
        assertFalse("no file is written", new File(path).exists());
    }

    @Test
    public void logLinesOfRefusedArrays() throws Exception {
        assertEquals(List.of("jni/Entry.cpp: FATAL error constructing BYTE array"), probeLog("write-null"));
        assertEquals(
            List.of("jni/Entry.cpp: FATAL error constructing BYTE array"), probeLog("write-ts-null"));
        assertEquals(
            List.of("jni/ISFWritePipeline.cpp: invalid item written"), probeLog("write-prefix-only"));
    }
}
