package org.palvorin;

/** Calls one native method so that its log lines can be read from this process's stderr. */
final class LogProbe {
    private LogProbe() {}

    public static void main(String[] args) {
        long store = cISFStore.GetISFStore();
        int status = switch (args[0]) {
            case "pcap" -> cISFStore.GeneratePCAP(args[1]);
            case "write-null" -> cISFStore.WriteItem(store, null);
            case "write-ts-null" -> cISFStore.WriteItemWithTS(store, null);
            case "write-prefix-only" -> cISFStore.WriteItem(store, new byte[] {3, 0, 0, 0});
            default -> throw new IllegalArgumentException(args[0]);
        };
        cISFStore.DeleteISFStore(store);
        System.out.println(status);
    }
}
