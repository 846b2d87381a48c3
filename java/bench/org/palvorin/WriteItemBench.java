package org.palvorin;

import java.io.File;
import java.lang.management.ManagementFactory;
import java.lang.management.ThreadMXBean;
import java.util.Arrays;

/**
 * Items per second written from Java through {@link cISFStore#WriteItem}: 100-byte log packets with a
 * log code outside the over-the-air set, as in the C++ store benchmark (BM_ISFStoreWriteItem), so that
 * the two figures differ by the cost of the JNI layer. Reports items per second by wall-clock time and
 * by the writing thread's CPU time (the C++ benchmark's items_per_second is by CPU time). Usage:
 * WriteItemBench [directory] (default: the system temporary directory).
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
            double[] wall = new double[RUNS];
            double[] cpu = new double[RUNS];
            for (int r = 0; r < RUNS; ++r) {
                double[] rates = run(store, file.getPath(), item, RUN_NANOS);
                wall[r] = rates[0];
                cpu[r] = rates[1];
            }
            Arrays.sort(wall);
            Arrays.sort(cpu);
            System.out.printf(
                "WriteItem from Java, %d-byte packets, %d runs of %.1f s: median %.0f items/s by"
                    + " wall-clock time (min %.0f, max %.0f), %.0f items/s by CPU time (min %.0f, max %.0f)%n",
                PACKET_SIZE, RUNS, RUN_NANOS / 1e9, wall[RUNS / 2], wall[0], wall[RUNS - 1], cpu[RUNS / 2],
                cpu[0], cpu[RUNS - 1]);
        } finally {
            cISFStore.DeleteISFStore(store);
            file.delete();
        }
    }

    // Writes for about `nanos` of wall-clock time into fresh files; returns items per second by wall-clock
    // time and by CPU time, file opening not counted.
    private static double[] run(long store, String path, byte[] item, long nanos) {
        ThreadMXBean threads = ManagementFactory.getThreadMXBean();
        long items = 0;
        long elapsed = 0;
        long cpu = 0;
        while (elapsed < nanos) {
            if (cISFStore.OpenNewFileStore(store, path) != 0) {
                throw new IllegalStateException("cannot open " + path);
            }
            long start = System.nanoTime();
            long cpuStart = threads.getCurrentThreadCpuTime();
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
            cpu += threads.getCurrentThreadCpuTime() - cpuStart;
            elapsed += System.nanoTime() - start;
        }
        cISFStore.CloseFileStore(store);
        return new double[] {items * 1e9 / elapsed, items * 1e9 / cpu};
    }
}
