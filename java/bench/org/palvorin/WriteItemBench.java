package org.palvorin;

import java.io.File;
import java.util.Arrays;

/**
 * Items per second written from Java through {@link cISFStore#WriteItem}: 100-byte log packets with a
 * log code outside the over-the-air set, as in the C++ store benchmark (BM_ISFStoreWriteItem), so that
 * the two figures differ by the cost of the JNI layer. Usage: WriteItemBench [directory] (default: the
 * system temporary directory).
 */
public final class WriteItemBench {
    private static final int PACKET_SIZE = 100;
    private static final int ITEMS_PER_FILE = 1 << 18; // a new file now and then so the disk does not fill
    private static final int BATCH = 1024; // items between two looks at the clock
    private static final int RUNS = 5;
    private static final long RUN_NANOS = 1_000_000_000L;

    private WriteItemBench() {}

    public static void main(String[] args) throws Exception {
        File dir = new File(args.length > 0 ? args[0] : System.getProperty("java.io.tmpdir"));
        File file = new File(dir, "palvorin-java-bench-" + ProcessHandle.current().pid() + ".isf");
        byte[] item = new byte[4 + PACKET_SIZE];
        item[0] = 3; // protocol type 3: from the device
        byte[] header = {0x10, 0x00, PACKET_SIZE - 4, 0, PACKET_SIZE - 4, 0, 0x34, 0x12};
        System.arraycopy(header, 0, item, 4, header.length);
        for (int i = 16; i < PACKET_SIZE; ++i) {
            item[4 + i] = (byte) i;
        }

        long store = cISFStore.GetISFStore();
        try {
            run(store, file.getPath(), item, RUN_NANOS); // warm-up: JIT, page cache
            double[] rates = new double[RUNS];
            for (int r = 0; r < RUNS; ++r) {
                rates[r] = run(store, file.getPath(), item, RUN_NANOS);
            }
            Arrays.sort(rates);
            System.out.printf("WriteItem from Java, %d-byte packets: median %.0f items/s (min %.0f, max %.0f)"
                    + " over %d runs of %.1f s%n",
                PACKET_SIZE, rates[RUNS / 2], rates[0], rates[RUNS - 1], RUNS, RUN_NANOS / 1e9);
        } finally {
            cISFStore.DeleteISFStore(store);
            file.delete();
        }
    }

    // Writes for about `nanos` into fresh files; returns items per second, file opening not counted.
    private static double run(long store, String path, byte[] item, long nanos) {
        long items = 0;
        long elapsed = 0;
        while (elapsed < nanos) {
            if (cISFStore.OpenNewFileStore(store, path) != 0) {
                throw new IllegalStateException("cannot open " + path);
            }
            long start = System.nanoTime();
            for (int inFile = 0; inFile < ITEMS_PER_FILE; inFile += BATCH) {
                for (int i = 0; i < BATCH; ++i) {
                    if (cISFStore.WriteItem(store, item) != 0) {
                        throw new IllegalStateException("write failed");
                    }
                }
                items += BATCH;
                if (System.nanoTime() - start + elapsed >= nanos) {
                    break;
                }
            }
            elapsed += System.nanoTime() - start;
        }
        cISFStore.CloseFileStore(store);
        return items * 1e9 / elapsed;
    }
}
