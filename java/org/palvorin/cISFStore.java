package org.palvorin;

/**
 * The item store of libPalvorin: writes diagnostic packets as timestamped items into one item store
 * file (ISF) at a time.
 *
 * <p>A store is named by its handle, the address returned by {@link #GetISFStore}; every other method
 * takes that handle. Any thread may write to a store; its file operations are serialised inside the
 * library. {@link #DeleteISFStore} must not run while another thread still uses the handle.
 *
 * <p>Statuses: {@link #STATUS_OK} 0; {@link #STATUS_NO_MEMORY} 8; {@link #STATUS_IO} 9 (file not created,
 * write failed); {@link #STATUS_NO_ARRAY} 12 (array elements not obtainable, or a null array);
 * {@link #STATUS_INVALID_ITEM} 22 (unknown protocol type, no packet bytes, packet longer than 16640
 * bytes); {@link #STATUS_BAD_ARGUMENTS} 160 (handle 0 or a null path). Writing while no file is open
 * stores nothing and returns 0.
 */
public final class cISFStore {
    static { System.loadLibrary("Palvorin"); }

    public static final int STATUS_OK = 0;
    public static final int STATUS_NO_MEMORY = 8;
    public static final int STATUS_IO = 9;
    public static final int STATUS_NO_ARRAY = 12;
    public static final int STATUS_INVALID_ITEM = 22;
    public static final int STATUS_BAD_ARGUMENTS = 160;

    private cISFStore() {}

    /** Creates a new store with no file open and returns its handle (never 0 unless memory ran out). */
    public static native long GetISFStore();

    /**
     * Creates (or empties) the file at {@code path} and writes its header and tool-version record,
     * finishing the store's previous file first. Returns 0, 9 (file not created: the previous file stays
     * open), 160 (handle 0 or a null path) or 8 (the path's characters could not be obtained).
     */
    public static native int OpenNewFileStore(long handle, String path);

    /**
     * Writes one item stamped with the current time. Layout of {@code item}: bytes 0-3 the protocol type
     * (unsigned 32-bit little-endian; 3 = from the device, 4 = a request to it), bytes 4 onwards the
     * packet (1 to 16640 bytes). Returns the store's status; 22 for an array shorter than 5 bytes.
     */
    public static native int WriteItem(long handle, byte[] item);

    /**
     * Writes one item with its own time. Layout of {@code item}: bytes 0-7 the time as a FILETIME
     * (unsigned 64-bit little-endian count of 100 ns since 1601-01-01 UTC), bytes 8-11 the protocol type,
     * bytes 12 onwards the packet. Returns the store's status; 22 for an array shorter than 13 bytes.
     */
    public static native int WriteItemWithTS(long handle, byte[] item);

    /**
     * Finishes the open file (kept responses, index table, trailer) and closes it. Returns 0; the result
     * carries no information.
     */
    public static native int CloseFileStore(long handle);

    /** Closes the store's file and destroys the store; the handle is dead afterwards. 0 does nothing. */
    public static native void DeleteISFStore(long handle);

    /**
     * Placeholder for a capture conversion of the file at {@code path}: logs the input and its directory
     * and returns 0. No file is read or written.
     */
    public static native int GeneratePCAP(String path);
}
