package org.palvorin;

import static java.nio.ByteOrder.LITTLE_ENDIAN;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/** Builders of the arrays the native methods take, and readers of what the library leaves behind. */
final class Support {
    private Support() {}

    /** FILETIME of 1970-01-01 00:00:00 UTC, and the same instant in milliseconds since 1601. */
    static final long UNIX_EPOCH_FILETIME = 116444736000000000L;
    static final long UNIX_EPOCH_MS_SINCE_1601 = 11644473600000L;

    static byte[] bytes(int... values) {
        byte[] out = new byte[values.length];
        for (int i = 0; i < values.length; ++i) {
            out[i] = (byte) values[i];
        }
        return out;
    }

    /** The array of WriteItem and HDLCEncode: protocol type, then the packet. */
    static byte[] item(int protocol, byte[] packet) {
        return ByteBuffer.allocate(4 + packet.length).order(LITTLE_ENDIAN).putInt(protocol).put(packet)
            .array();
    }

    /** The array of WriteItemWithTS: FILETIME, protocol type, then the packet. */
    static byte[] stampedItem(long filetime, int protocol, byte[] packet) {
        return ByteBuffer.allocate(12 + packet.length).order(LITTLE_ENDIAN).putLong(filetime).putInt(protocol)
            .put(packet).array();
    }

    /** The lines the ISF reader of tools/ (the program named by the property palvorin.isfdump) prints. */
    static List<String> readIsf(String path) throws IOException, InterruptedException {
        String reader = System.getProperty("palvorin.isfdump");
        ProcessBuilder builder = new ProcessBuilder("timeout", "60", reader, path).redirectErrorStream(true);
        // A sanitizer runtime preloaded into this JVM is not for the reader, which carries its own.
        builder.environment().remove("LD_PRELOAD");
        Process process = builder.start();
        String output = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
        if (process.waitFor() != 0) {
            throw new IOException("ISF reader failed: " + output);
        }
        return List.of(output.split("\n"));
    }

    /**
     * Runs {@link LogProbe} on {@code path} in a JVM of its own, with every log priority let through, and
     * returns the texts logged under the tag "libPalvorin", each as "path: text" (line number dropped).
     */
    static List<String> probeLog(String path) throws IOException, InterruptedException {
        List<String> command = List.of(System.getProperty("java.home") + "/bin/java",
            "-Djava.library.path=" + System.getProperty("java.library.path"), "-cp",
            System.getProperty("java.class.path"), "org.palvorin.LogProbe", path);
        ProcessBuilder builder = new ProcessBuilder(command).redirectOutput(ProcessBuilder.Redirect.DISCARD);
        builder.environment().put("ANDROID_LOG_TAGS", "*:v");
        Process process = builder.start();
        String stderr = new String(process.getErrorStream().readAllBytes(), StandardCharsets.UTF_8);
        if (process.waitFor() != 0 || stderr.contains("in native method")) {
            throw new IOException("probe failed: " + stderr);
        }
        // liblog on a host: "tag I date time pid tid message"; the message starts "path:line: ".
        Pattern line = Pattern.compile("^libPalvorin I (?:.*? )??(jni/[A-Za-z]+\\.(?:cpp|h)):\\d+: (.*)$");
        List<String> texts = new ArrayList<>();
        for (String text : stderr.split("\n")) {
            Matcher match = line.matcher(text);
            if (match.matches()) {
                texts.add(match.group(1) + ": " + match.group(2));
            }
        }
        return texts;
    }
}
