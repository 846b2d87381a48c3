package org.palvorin;

/** Calls GeneratePCAP on its argument so that its log lines can be read from this process's stderr. */
final class LogProbe {
    private LogProbe() {}

    public static void main(String[] args) {
        System.out.println(cISFStore.GeneratePCAP(args[0]));
    }
}
