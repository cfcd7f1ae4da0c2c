package com.zelvox.qorbetta;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.Map;
import java.util.Set;
import java.util.zip.CRC32;
import java.util.zip.DataFormatException;
import java.util.zip.Inflater;
import java.util.zip.ZipEntry;
import java.util.zip.ZipException;

/**
 * A zip archive in memory. Java's own reader finds entries by name in open files only, which others
 * may overwrite meanwhile, and shares what it knows of a file among all that open it by its name.
 */
final class Archive {
    private static final int END = 0x06054b50;
    private static final int END_LENGTH = 22;
    private static final int END64 = 0x06064b50; // stands before the other one in a large archive,
    private static final int END64_LENGTH = 56;
    private static final int LOCATOR64 = 0x07064b50; // and between them what leads to it
    private static final int LOCATOR64_LENGTH = 20;
    private static final int HEADER = 0x02014b50;
    private static final int HEADER_LENGTH = 46;
    private static final int LOCAL_HEADER_LENGTH = 30;

    private final ByteBuffer zip;
    private final int begin; // of the archive: something may stand before it
    private final Map<String, Integer> headers = new LinkedHashMap<>();

    Archive(byte[] bytes) throws ZipException {
        zip = ByteBuffer.wrap(bytes).order(ByteOrder.LITTLE_ENDIAN);
        try {
            int end = bytes.length - END_LENGTH;
            while (zip.getInt(end) != END || end + END_LENGTH + unsigned(end + 20) != bytes.length) {
                end--;
            }
            int size = zip.getInt(end + 12);
            int offset = zip.getInt(end + 16);
            int end64 = end - LOCATOR64_LENGTH - END64_LENGTH;
            if (end64 >= 0 && zip.getInt(end64) == END64
                    && zip.getInt(end - LOCATOR64_LENGTH) == LOCATOR64) {
                size = (int) zip.getLong(end64 + 40);
                offset = (int) zip.getLong(end64 + 48);
                end = end64;
            }
            int header = end - size;
            begin = header - offset;
            while (header < end) {
                if (zip.getInt(header) != HEADER) {
                    throw new IndexOutOfBoundsException();
                }
                int length = unsigned(header + 28);
                headers.put(new String(bytes, header + HEADER_LENGTH, length,
                        StandardCharsets.UTF_8), header);
                header += HEADER_LENGTH + length + unsigned(header + 30) + unsigned(header + 32);
            }
        } catch (IndexOutOfBoundsException e) {
            throw new ZipException("it is no zip archive, or a damaged one");
        }
    }

    Set<String> names() {
        return headers.keySet();
    }

    /** What an entry holds, whose name is one of {@link #names}. */
    byte[] content(String name) throws IOException {
        int header = headers.get(name);
        try {
            int local = begin + zip.getInt(header + 42);
            int from = local + LOCAL_HEADER_LENGTH + unsigned(local + 26) + unsigned(local + 28);
            int packed = zip.getInt(header + 20);
            byte[] content = unsigned(header + 10) == ZipEntry.STORED
                    ? Arrays.copyOfRange(zip.array(), from, from + packed)
                    : inflated(from, packed, zip.getInt(header + 24));
            CRC32 check = new CRC32();
            check.update(content, 0, content.length);
            if ((int) check.getValue() == zip.getInt(header + 16)) {
                return content;
            }
        } catch (DataFormatException | IllegalArgumentException | IndexOutOfBoundsException
                | NegativeArraySizeException e) {
            // The numbers or the data make no sense.
        }
        throw new ZipException(name + " is damaged, or packed in a way that Java does not know");
    }

    private byte[] inflated(int from, int packed, int length) throws DataFormatException {
        Inflater inflater = new Inflater(true);
        try {
            byte[] content = new byte[length];
            inflater.setInput(zip.array(), from, packed);
            for (int n = 1, at = 0; n > 0; at += n) {
                n = inflater.inflate(content, at, length - at);
            }
            return content;
        } finally {
            inflater.end();
        }
    }

    private int unsigned(int at) {
        return Short.toUnsignedInt(zip.getShort(at));
    }
}
