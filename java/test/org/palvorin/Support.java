package org.palvorin;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.InputStream;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
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

    static byte[] le(long value, int size) {
        byte[] out = new byte[size];
        for (int i = 0; i < size; ++i) {
            out[i] = (byte) (value >>> (8 * i));
        }
        return out;
    }

    static byte[] concat(byte[]... parts) {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        for (byte[] part : parts) {
            out.writeBytes(part);
        }
        return out.toByteArray();
    }

    /** The array of WriteItem and HDLCEncode: protocol type, then the packet. */
    static byte[] item(int protocol, byte[] packet) { return concat(le(protocol, 4), packet); }

    /** The array of WriteItemWithTS: FILETIME, protocol type, then the packet. */
    static byte[] stampedItem(long filetime, int protocol, byte[] packet) {
        return concat(le(filetime, 8), le(protocol, 4), packet);
    }

    /**
     * A log packet (command code 16) of {@code size} bytes, at least 16, with its log code at bytes 6-7
     * and {@code tag} at bytes 16-19 when there is room.
     */
    static byte[] logPacket(int logCode, int size, int tag) {
        byte[] packet = new byte[size];
        packet[0] = 0x10;
        System.arraycopy(le(size - 4, 2), 0, packet, 2, 2);
        System.arraycopy(le(size - 4, 2), 0, packet, 4, 2);
        System.arraycopy(le(logCode, 2), 0, packet, 6, 2);
        if (size >= 20) {
            System.arraycopy(le(tag, 4), 0, packet, 16, 4);
        }
        return packet;
    }

    static int le32(byte[] bytes, int offset) {
        int value = 0;
        for (int i = 3; i >= 0; --i) {
            value = (value << 8) | (bytes[offset + i] & 0xFF);
        }
        return value;
    }

    static String hex(byte[] bytes) {
        StringBuilder text = new StringBuilder();
        for (byte b : bytes) {
            text.append(String.format("%02x", b & 0xFF));
        }
        return text.toString();
    }

    static byte[] unhex(String text) {
        byte[] out = new byte[text.length() / 2];
        for (int i = 0; i < out.length; ++i) {
            out[i] = (byte) Integer.parseInt(text.substring(2 * i, 2 * i + 2), 16);
        }
        return out;
    }

    /** One item as the ISF reader of tools/ saw it. */
    record Item(int type, long timeMs, Long aux, byte[] payload) {}

    /** A file as the ISF reader saw it. */
    record IsfFile(boolean closed, int trailerCount, List<String> problems, List<Item> items) {}

    /** Reads an ISF with the reader of tools/ (the program named by the property palvorin.isfdump). */
    static IsfFile readIsf(String path) throws IOException, InterruptedException {
        String program = System.getProperty("palvorin.isfdump");
        if (program == null) {
            throw new IllegalStateException("run with -Dpalvorin.isfdump=<path of palvorin_isfdump>");
        }
        ProcessBuilder builder = new ProcessBuilder(program, path).redirectErrorStream(true);
        // A sanitizer runtime preloaded into this JVM is not for the reader, which carries its own.
        builder.environment().remove("LD_PRELOAD");
        Process process = builder.start();
        String output = readAll(process.getInputStream());
        if (process.waitFor() != 0) {
            throw new IOException("ISF reader failed: " + output);
        }
        boolean closed = false;
        int trailer = -1;
        List<String> problems = new ArrayList<>();
        List<Item> items = new ArrayList<>();
        for (String line : output.split("\n")) {
            String[] fields = line.split(" ", -1);
            switch (fields[0]) {
                case "file" -> {
                    closed = fields[1].equals("closed=1");
                    trailer = Integer.parseInt(fields[3].substring("trailer=".length()));
                }
                case "problem" -> problems.add(line);
                case "item" -> items.add(new Item(Integer.parseInt(fields[1]), Long.parseLong(fields[2]),
                        fields[3].equals("-") ? null : Long.valueOf(fields[3]), unhex(fields[4])));
                    default -> throw new IOException("unexpected reader output: " + line);
            }
        }
        return new IsfFile(closed, trailer, problems, items);
    }

    /**
     * Runs {@link LogProbe} with {@code args} in a JVM of its own, with every log priority let through,
     * and returns the texts that jni/Entry.cpp and jni/ISFStore logged under the tag "libPalvorin", each
     * as "path: text" (the line number dropped).
     */
    static List<String> probeLog(String... args) throws IOException, InterruptedException {
        List<String> command = new ArrayList<>(List.of(System.getProperty("java.home") + "/bin/java",
            "-Djava.library.path=" + System.getProperty("java.library.path"), "-cp",
            System.getProperty("java.class.path"), "org.palvorin.LogProbe"));
        command.addAll(Arrays.asList(args));
        ProcessBuilder builder = new ProcessBuilder(command);
        builder.environment().put("ANDROID_LOG_TAGS", "*:v");
        Process process = builder.start();
        process.getOutputStream().close();
        String stdout = readAll(process.getInputStream());
        String stderr = readAll(process.getErrorStream());
        if (process.waitFor() != 0 || stderr.contains("in native method")) {
            throw new IOException("probe failed: " + stdout + stderr);
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

    private static String readAll(InputStream in) throws IOException {
        return new String(in.readAllBytes(), StandardCharsets.UTF_8);
    }
}
