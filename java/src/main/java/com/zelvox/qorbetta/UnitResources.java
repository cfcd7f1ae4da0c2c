package com.zelvox.qorbetta;

import java.io.DataInputStream;
import java.io.File;
import java.io.FileInputStream;
import java.io.IOException;
import java.io.Reader;
import java.io.UnsupportedEncodingException;
import java.net.URLDecoder;
import java.nio.charset.Charset;
import java.nio.file.Files;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Properties;

/**
 * The resources of a unit as they lie at its place at one moment. Among them is a file {@value #FILE}
 * that names the model's class and the jars beside it, in the order in which they are searched:
 *
 * <pre>
 *   model=com.acme.Motor
 *   jar.1=motor.jar
 *   jar.2=tables.jar
 * </pre>
 */
final class UnitResources {
    static final String FILE = "model.properties";

    private final File directory;
    private final String model; // the name of its class
    private final Map<String, byte[]> jars = new LinkedHashMap<>();

    /**
     * Reads the jars.
     *
     * @throws IllegalStateException with a sentence when one cannot be read
     */
    UnitResources(File directory, String model, List<String> names) {
        this.directory = directory;
        this.model = model;
        for (String name : names) {
            try (FileInputStream in = new FileInputStream(new File(directory, name))) {
                byte[] content = new byte[Math.toIntExact(in.getChannel().size())];
                new DataInputStream(in).readFully(content);
                jars.put(name, content);
            } catch (IOException | ArithmeticException e) {
                throw unreadable(name, e);
            }
        }
    }

    /**
     * Reads what lies where an importer says.
     *
     * @param location the URI of the unit's resources; may be anything
     * @return null when there is no file {@value #FILE}
     * @throws IllegalStateException with a sentence when something cannot be read
     */
    static UnitResources at(String location) {
        File directory = directory(location);
        File file = new File(directory, FILE);
        if (directory == null || !file.isFile()) {
            return null;
        }
        Properties properties = new Properties();
        try (Reader reader = Files.newBufferedReader(file.toPath())) {
            properties.load(reader);
        } catch (IOException | IllegalArgumentException e) {
            throw new IllegalStateException(file + " cannot be read: " + Reason.of(e));
        }
        String model = properties.getProperty("model");
        if (model == null) {
            throw new IllegalStateException(file + " names no model, expected a line model=CLASS");
        }
        List<String> names = new ArrayList<>();
        for (int i = 1; properties.containsKey("jar." + i); i++) {
            names.add(properties.getProperty("jar." + i));
        }
        return new UnitResources(directory, model, names);
    }

    File directory() {
        return directory;
    }

    /** The names of the jars, for messages. */
    String jarNames() {
        return String.join(", ", jars.keySet());
    }

    boolean sameAs(UnitResources other) {
        return directory.equals(other.directory) && model.equals(other.model)
                && jars.keySet().equals(other.jars.keySet())
                && Arrays.deepEquals(jars.values().toArray(), other.jars.values().toArray());
    }

    /** A class loader for the jars. */
    JarLoader open() {
        JarLoader loader = new JarLoader();
        for (Map.Entry<String, byte[]> jar : jars.entrySet()) {
            try {
                loader.add(new File(directory, jar.getKey()), jar.getValue());
            } catch (IOException e) {
                throw unreadable(jar.getKey(), e);
            }
        }
        return loader;
    }

    /** The model's class, not initialized yet, from a loader that these resources opened. */
    Class<? extends Model> load(JarLoader loader) {
        try {
            Class<?> found = Class.forName(model, false, loader);
            if (found.getClassLoader() != loader) {
                throw new IllegalStateException(model + " comes from the JVM's class path, which hides"
                        + " the one of the unit; leave it out of the class path");
            }
            return found.asSubclass(Model.class);
        } catch (ClassNotFoundException e) {
            throw new IllegalStateException("there is no class " + e.getMessage()
                    + (jars.isEmpty() ? ": the unit names no jar" : " in " + jarNames()));
        } catch (ClassCastException e) {
            throw new IllegalStateException(model + " is no model, expected a class that implements "
                    + Model.class.getName());
        }
    }

    /** Java opens no file whose name the locale of the process cannot spell. */
    static String localeHint(String path) {
        File decoded = directory(path);
        String name = decoded != null ? decoded.getPath() : path;
        String encoding = System.getProperty("sun.jnu.encoding", "UTF-8");
        return Charset.isSupported(encoding)
                && Charset.forName(encoding).newEncoder().canEncode(name)
                ? "" : ", a name that needs another locale, LC_ALL=C.UTF-8 for instance";
    }

    /**
     * The directory that a URI names, or null when it is none of this machine. Importers escape
     * what should be escaped, or do not, and write one slash behind the scheme, or three.
     */
    private static File directory(String location) {
        if (!location.matches("(?is)file:(//(localhost)?)?/.*")) {
            return null;
        }
        int host = location.startsWith("//", "file:".length()) ? "file://".length() : 0;
        String path = location.substring(location.indexOf('/', host));
        try {
            return new File(URLDecoder.decode(path.replace("+", "%2B"), "UTF-8"));
        } catch (IllegalArgumentException | UnsupportedEncodingException e) {
            return new File(path); // a percent sign that escapes nothing
        }
    }

    private IllegalStateException unreadable(String jar, Exception e) {
        return new IllegalStateException(jar + " is no readable jar: " + Reason.of(e)
                + localeHint(new File(directory, jar).getPath()));
    }
}
