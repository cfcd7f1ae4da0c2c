package com.zelvox.qorbetta;

import java.io.ByteArrayInputStream;
import java.io.DataInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.util.LinkedHashMap;
import java.util.Map;
import java.util.Set;
import java.util.zip.CRC32;
import java.util.zip.Inflater;
import java.util.zip.InflaterInputStream;
import java.util.zip.ZipEntry;
import java.util.zip.ZipException;

/**
 * A zip archive in memory. Java's own reader finds entries by name in open files only, which others
 * may overwrite meanwhile, and shares what it knows of a file among all that open it by its name.
 * Java's stream of entries never sees the directory at the end: without a word it finds nothing
 * behind a launch script, ends where an archive is cut off or damaged, and shows deleted entries.
 */
final class Archive {
    // An archive with more entries or bytes than its end can count has another end and a locator,
    // which says where that is, in this order before the usual one.
    private static final int END64 = 0x06064b50;
    private static final int END64_LENGTH = 56;
    private static final int LOCATOR64 = 0x07064b50;
    private static final int LOCATOR64_LENGTH = 20;

    private final ByteBuffer zip;
    private final int begin; // of the archive: something may stand before it
    private final Map<String, Integer> headers = new LinkedHashMap<>();

    Archive(byte[] bytes) throws ZipException {
        zip = ByteBuffer.wrap(bytes).order(ByteOrder.LITTLE_ENDIAN);
        try {
            int end = bytes.length - ZipEntry.ENDHDR;
            while (zip.getInt(end) != ZipEntry.ENDSIG || end + ZipEntry.ENDHDR
                    + unsigned(end + ZipEntry.ENDCOM) != bytes.length) {
                end--;
            }
            int size = zip.getInt(end + ZipEntry.ENDSIZ);
            int offset = zip.getInt(end + ZipEntry.ENDOFF);
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
                if (zip.getInt(header) != ZipEntry.CENSIG) {
                    throw new IndexOutOfBoundsException();
                }
                int length = unsigned(header + ZipEntry.CENNAM);
                headers.put(new String(bytes, header + ZipEntry.CENHDR, length,
                        StandardCharsets.UTF_8), header);
                header += ZipEntry.CENHDR + length + unsigned(header + ZipEntry.CENEXT)
                        + unsigned(header + ZipEntry.CENCOM);
            }
        } catch (IndexOutOfBoundsException e) {
            throw new ZipException("it is no zip archive, or a damaged one");
        }
    }

    Set<String> names() {
        return headers.keySet();
    }

    /** What an entry holds, whose name is one of {@link #names}. */
    byte[] content(String name) throws ZipException {
        int header = headers.get(name);
        Inflater inflater = new Inflater(true);
        try {
            int local = begin + zip.getInt(header + ZipEntry.CENOFF);
            int from = local + ZipEntry.LOCHDR + unsigned(local + ZipEntry.LOCNAM)
                    + unsigned(local + ZipEntry.LOCEXT);
            InputStream in = new ByteArrayInputStream(zip.array(), from,
                    zip.getInt(header + ZipEntry.CENSIZ));
            if (unsigned(header + ZipEntry.CENHOW) != ZipEntry.STORED) {
                in = new InflaterInputStream(in, inflater);
            }
            byte[] content = new byte[zip.getInt(header + ZipEntry.CENLEN)];
            new DataInputStream(in).readFully(content);
            CRC32 check = new CRC32();
            check.update(content, 0, content.length);
            if ((int) check.getValue() == zip.getInt(header + ZipEntry.CENCRC)) {
                return content;
            }
        } catch (IOException | IndexOutOfBoundsException | NegativeArraySizeException e) {
            // The numbers or the data make no sense.
        } finally {
            inflater.end();
        }
        throw new ZipException(name + " is damaged, or packed in a way that Java does not know");
    }

    private int unsigned(int at) {
        return Short.toUnsignedInt(zip.getShort(at));
    }
}
