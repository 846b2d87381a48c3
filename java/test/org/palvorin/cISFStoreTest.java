package org.palvorin;

import static org.junit.Assert.assertArrayEquals;
import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertNotEquals;
import static org.junit.Assert.assertNull;
import static org.junit.Assert.assertTrue;
import static org.palvorin.Support.*;

import java.io.File;
import java.util.ArrayList;
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

    private String openFile(String name) {
        String path = newPath(name);
        assertEquals(0, cISFStore.OpenNewFileStore(mStore, path));
        return path;
    }

    private record WriteCase(String name, boolean stamped, byte[] array, int status) {}

    private static final byte[] GOOD_PACKET = logPacket(0x1234, 20, 7);

    // Statuses of the store: 22 for an array too short for its prefix plus one packet byte, an unknown
    // protocol type or a packet over 16640 bytes; 12 for a null array.
    private static final WriteCase[] WRITE_CASES = {
        new WriteCase("null", false, null, 12),
        new WriteCase("empty", false, new byte[0], 22),
        new WriteCase("shorter than the protocol type", false, bytes(3, 0, 0), 22),
        new WriteCase("protocol type only", false, bytes(3, 0, 0, 0), 22),
        new WriteCase("one packet byte", false, bytes(3, 0, 0, 0, 0x1D), 0),
        new WriteCase("unknown protocol type 11", false, item(11, GOOD_PACKET), 22),
        new WriteCase("protocol type 514", false, item(514, GOOD_PACKET), 0),
        new WriteCase("largest packet", false, item(3, new byte[16640]), 0),
        new WriteCase("packet one byte too long", false, item(3, new byte[16641]), 22),
        new WriteCase("stamped: null", true, null, 12),
        new WriteCase("stamped: empty", true, new byte[0], 22),
        new WriteCase("stamped: time only", true, le(UNIX_EPOCH_FILETIME, 8), 22),
        new WriteCase(
            "stamped: one byte short of the prefix", true, bytes(0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0), 22),
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
    public void writeStatusesForGoodAndBadArrays() throws Exception {
        openFile("statuses.isf");
        for (WriteCase c : WRITE_CASES) {
            byte[] before = c.array == null ? null : c.array.clone();
            assertEquals(c.name, c.status, write(mStore, c));
            assertArrayEquals(c.name + ": the array is left as it was", before, c.array);
        }
    }

    @Test
    public void writingWithNoFileOpenStoresNothingAndSucceeds() {
        for (WriteCase c : WRITE_CASES) {
            if (c.status == 0) {
                assertEquals(c.name, 0, write(mStore, c));
            }
        }
    }

    @Test
    public void handleZeroIsRefused() {
        assertEquals(cISFStore.STATUS_BAD_ARGUMENTS, cISFStore.OpenNewFileStore(0, newPath("zero.isf")));
        assertEquals(cISFStore.STATUS_BAD_ARGUMENTS, cISFStore.WriteItem(0, item(3, GOOD_PACKET)));
        assertEquals(
            cISFStore.STATUS_BAD_ARGUMENTS, cISFStore.WriteItemWithTS(0, stampedItem(0, 3, GOOD_PACKET)));
        assertEquals(0, cISFStore.CloseFileStore(0));
        cISFStore.DeleteISFStore(0);
        assertTrue("nothing was created", !new File(newPath("zero.isf")).exists());
    }

    @Test
    public void everyCallCreatesAnotherStore() {
        long other = cISFStore.GetISFStore();
        try {
            assertNotEquals(mStore, other);
        } finally {
            cISFStore.DeleteISFStore(other);
        }
    }

    @Test
    public void openStatuses() {
        assertEquals(cISFStore.STATUS_IO, cISFStore.OpenNewFileStore(mStore, newPath("missing/dir/a.isf")));
        assertEquals(cISFStore.STATUS_BAD_ARGUMENTS, cISFStore.OpenNewFileStore(mStore, null));
        assertEquals(0, cISFStore.OpenNewFileStore(mStore, newPath("\u00e9t\u00e9.isf")));
        assertEquals(0, cISFStore.CloseFileStore(mStore));
        assertTrue("a non-ASCII path reaches the file system as UTF-8",
            new File(newPath("\u00e9t\u00e9.isf")).exists());
    }

    @Test
    public void itemsWrittenFromJavaReadBack() throws Exception {
        String path = openFile("round-trip.isf");
        byte[] log = logPacket(0x1234, 40, 0xCAFE);
        byte[] request = bytes(0x1D, 1, 2);
        byte[] response = bytes(0x4B, 0x12, 0x00, 0x00, 9);
        long before = System.currentTimeMillis() + UNIX_EPOCH_MS_SINCE_1601;
        assertEquals(0, cISFStore.WriteItem(mStore, item(3, log)));
        assertEquals(0, cISFStore.WriteItem(mStore, item(4, request)));
        long after = System.currentTimeMillis() + UNIX_EPOCH_MS_SINCE_1601;
        assertEquals(0, cISFStore.WriteItemWithTS(mStore, stampedItem(UNIX_EPOCH_FILETIME, 3, response)));
        // 2024-02-29 12:34:56.789 UTC: 13353395696789 ms since 1601.
        assertEquals(
            0, cISFStore.WriteItemWithTS(mStore, stampedItem(13353395696789L * 10000 + 1234, 514, request)));
        assertEquals(0, cISFStore.CloseFileStore(mStore));

        IsfFile file = readIsf(path);
        assertEquals(List.of(), file.problems());
        assertTrue(file.closed());
        assertEquals(5, file.trailerCount());
        assertEquals(5, file.items().size());

        Item version = file.items().get(0);
        assertEquals("the tool-version record comes first, as a log item", 5, version.type());
        assertEquals(165, version.payload().length);
        assertEquals(0x1FFD, le32(version.payload(), 4) >>> 16);

        Item first = file.items().get(1);
        assertEquals("log packet with an ordinary log code", 5, first.type());
        assertArrayEquals(log, first.payload());
        assertTrue("stamped with the current time", first.timeMs() >= before && first.timeMs() <= after);

        Item second = file.items().get(2);
        assertEquals("request packet", 2, second.type());
        assertArrayEquals(request, second.payload());
        assertTrue(second.timeMs() >= first.timeMs() && second.timeMs() <= after);

        Item third = file.items().get(3);
        assertEquals("subsystem dispatch response", 9, third.type());
        assertEquals("1970-01-01 00:00:00 UTC", UNIX_EPOCH_MS_SINCE_1601, third.timeMs());
        assertArrayEquals(response, third.payload());

        Item fourth = file.items().get(4);
        assertEquals("protocol type 514", 7, fourth.type());
        assertEquals(13353395696789L, fourth.timeMs());
        assertNull(fourth.aux());
    }

    @Test
    public void deletingAStoreFinishesItsOpenFile() throws Exception {
        long store = cISFStore.GetISFStore();
        String path = newPath("deleted.isf");
        assertEquals(0, cISFStore.OpenNewFileStore(store, path));
        assertEquals(0, cISFStore.WriteItem(store, item(3, GOOD_PACKET)));
        cISFStore.DeleteISFStore(store);

        IsfFile file = readIsf(path);
        assertEquals(List.of(), file.problems());
        assertTrue(file.closed());
        assertEquals(2, file.items().size());
        assertArrayEquals(GOOD_PACKET, file.items().get(1).payload());
    }

    @Test
    public void severalThreadsWriteToOneStore() throws Exception {
        final int threads = 4;
        final int items = 3000; // 12001 items in all: the file needs a second index block
        String path = openFile("threads.isf");
        List<Thread> writers = new ArrayList<>();
        int[] failures = new int[threads];
        for (int t = 0; t < threads; ++t) {
            final int thread = t;
            writers.add(new Thread(() -> {
                for (int i = 0; i < items; ++i) {
                    byte[] packet = logPacket(0x1234, 24 + thread, thread);
                    System.arraycopy(le(i, 4), 0, packet, 20, 4);
                    boolean stamped = (i % 2) == 1;
                    int status = stamped
                        ? cISFStore.WriteItemWithTS(mStore, stampedItem(UNIX_EPOCH_FILETIME, 3, packet))
                        : cISFStore.WriteItem(mStore, item(3, packet));
                    failures[thread] += status != 0 ? 1 : 0;
                }
            }));
        }
        for (Thread writer : writers) {
            writer.start();
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
            assertEquals(24 + thread, item.payload().length);
            assertEquals("thread " + thread + " in order", next[thread], le32(item.payload(), 20));
            if ((next[thread] % 2) == 1) {
                assertEquals(UNIX_EPOCH_MS_SINCE_1601, item.timeMs());
            }
            ++next[thread];
        }
        int[] all = new int[threads];
        java.util.Arrays.fill(all, items);
        assertArrayEquals(all, next);
    }

    private record PcapCase(String path, String logged) {}

    @Test
    public void generatePcapOnlyLogsItsInputAndDirectory() throws Exception {
        PcapCase[] cases = {
            new PcapCase(
                "/sdcard/logs/a.bin", "Running PCAPGenerator on /sdcard/logs/a.bin to /sdcard/logs/"),
            new PcapCase("a.bin", "Running PCAPGenerator on a.bin to "),
            new PcapCase("/a.bin", "Running PCAPGenerator on /a.bin to /"),
            new PcapCase("logs/", "Running PCAPGenerator on logs/ to logs/"),
        };
        for (PcapCase c : cases) {
            assertEquals(c.path, List.of("jni/Entry.cpp: " + c.logged, "jni/Entry.cpp: PCAPGenerator 0"),
                probeLog("pcap", c.path));
        }
        String path = newPath("untouched.isf");
        assertEquals(0, cISFStore.GeneratePCAP(path));
        assertEquals(0, cISFStore.GeneratePCAP(null));
        assertTrue("no file is written", !new File(path).exists());
    }

    @Test
    public void logLinesOfRefusedArrays() throws Exception {
        assertEquals(List.of("jni/Entry.cpp: FATAL error constructing BYTE array"), probeLog("write-null"));
        assertEquals(
            List.of("jni/Entry.cpp: FATAL error constructing BYTE array"), probeLog("write-ts-null"));
        assertEquals(List.of("jni/ISFStore.cpp: invalid item written"), probeLog("write-prefix-only"));
    }
}
