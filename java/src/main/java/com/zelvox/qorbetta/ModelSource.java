package com.zelvox.qorbetta;

import java.io.File;
import java.io.IOException;
import java.io.Reader;
import java.io.UnsupportedEncodingException;
import java.lang.reflect.InvocationTargetException;
import java.net.URL;
import java.net.URLClassLoader;
import java.net.URLDecoder;
import java.nio.charset.Charset;
import java.nio.file.Files;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Properties;
import java.util.ServiceConfigurationError;
import java.util.ServiceLoader;
import java.util.jar.JarFile;
import java.util.stream.Collectors;

/**
 * Where an instance's model objects come from: one class, of which every run gets a new object.
 *
 * <p>A unit brings its model along. Among its resources is a file {@value #FILE} that names the
 * class and the jars beside it, in the order in which they are searched:
 *
 * <pre>
 *   model=com.acme.Motor
 *   jar.1=motor.jar
 *   jar.2=tables.jar
 * </pre>
 *
 * All instances of a unit share its classes, which other units do not see. With the last instance
 * the jars are closed: the importer may delete the unit, and the classes can be collected. Without
 * that file the model comes from the class path.
 */
final class ModelSource {
    private static final String FILE = "model.properties";

    /** The units with instances; also the lock of all users. */
    private static final Map<String, ModelSource> UNITS = new HashMap<>();

    private final Class<? extends Model> modelClass;
    private final String unit; // null for a model of the class path, as is the loader
    private final URLClassLoader loader;
    private int users;

    private ModelSource(Class<? extends Model> modelClass, String unit, URLClassLoader loader) {
        this.modelClass = modelClass;
        this.unit = unit;
        this.loader = loader;
    }

    /**
     * Finds the model of an instance, whose end is a {@link #release}.
     *
     * @param resourceLocation the URI of the unit's resources, as the importer gave it
     * @throws IllegalStateException with a sentence when there is not exactly one model
     */
    static ModelSource find(String resourceLocation) {
        File resources = directory(resourceLocation);
        File file = new File(resources, FILE);
        if (resources == null || !file.isFile()) {
            return onClassPath(resourceLocation);
        }
        // An importer may unpack the next unit where the last one was, and an instance of that one
        // may not have been freed.
        String unit = file + " of " + file.lastModified();
        synchronized (UNITS) {
            ModelSource source = UNITS.get(unit);
            if (source == null) {
                source = ofUnit(unit, resources, file);
                UNITS.put(unit, source);
            }
            source.users++;
            return source;
        }
    }

    /** Ends the use that began with {@link #find}. */
    void release() {
        synchronized (UNITS) {
            if (unit != null && --users == 0) {
                UNITS.remove(unit);
                close(loader);
            }
        }
    }

    /** A new object of the model class; throws what its constructor throws. */
    Model newModel() throws Throwable {
        return newObject(modelClass);
    }

    static <T> T newObject(Class<T> modelClass) throws Throwable {
        try {
            return modelClass.getConstructor().newInstance();
        } catch (InvocationTargetException e) {
            throw e.getCause();
        } catch (ReflectiveOperationException e) {
            throw new IllegalStateException("expected a public class with a public constructor"
                    + " without arguments");
        }
    }

    /** A class loader for the jars, which sees the host's classes before theirs. */
    static URLClassLoader open(File directory, List<String> jars) {
        URL[] urls = new URL[jars.size()];
        for (int i = 0; i < urls.length; i++) {
            File jar = new File(directory, jars.get(i));
            try {
                new JarFile(jar).close(); // the class loader passes over what it cannot open
                urls[i] = jar.toURI().toURL();
            } catch (IOException e) {
                throw new IllegalStateException(jars.get(i) + " is no readable jar: "
                        + Reason.of(e) + localeHint(jar.getPath()));
            }
        }
        return new URLClassLoader(urls, ModelSource.class.getClassLoader());
    }

    static void close(URLClassLoader loader) {
        try {
            loader.close();
        } catch (IOException e) {
            // Nothing is lost but a file handle.
        }
    }

    /** The class of that name, not initialized yet. */
    static Class<? extends Model> load(URLClassLoader loader, String name, List<String> jars) {
        try {
            return Class.forName(name, false, loader).asSubclass(Model.class);
        } catch (ClassNotFoundException e) {
            throw new IllegalStateException("there is no class " + name
                    + (jars.isEmpty() ? ": the unit names no jar" : " in " + String.join(", ", jars)));
        } catch (ClassCastException e) {
            throw new IllegalStateException(name + " is no model, expected a class that implements "
                    + Model.class.getName());
        }
    }

    /** The classes that META-INF/services names as models, for the loader and its parents. */
    static List<Class<? extends Model>> named(ClassLoader loader) {
        List<Class<? extends Model>> found = new ArrayList<>();
        try {
            for (Model model : ServiceLoader.load(Model.class, loader)) {
                found.add(model.getClass());
            }
        } catch (ServiceConfigurationError e) {
            // The message begins with the name of the file.
            throw new IllegalStateException("META-INF/services/" + e.getMessage()
                    + (e.getCause() == null ? "" : ": " + Reason.of(e.getCause())));
        }
        return found;
    }

    private static ModelSource ofUnit(String unit, File resources, File file) {
        Properties properties = new Properties();
        try (Reader reader = Files.newBufferedReader(file.toPath())) {
            properties.load(reader);
        } catch (IOException | IllegalArgumentException e) {
            throw new IllegalStateException(file + " cannot be read: " + Reason.of(e));
        }
        String name = properties.getProperty("model");
        if (name == null) {
            throw new IllegalStateException(file + " names no model, expected a line model=CLASS");
        }
        List<String> jars = new ArrayList<>();
        for (int i = 1; properties.containsKey("jar." + i); i++) {
            jars.add(properties.getProperty("jar." + i));
        }
        URLClassLoader loader = open(resources, jars);
        try {
            return new ModelSource(load(loader, name, jars), unit, loader);
        } catch (Throwable e) {
            close(loader);
            throw e;
        }
    }

    private static ModelSource onClassPath(String resourceLocation) {
        // The class loader of a thread that native code attached knows nothing of the class path.
        List<Class<? extends Model>> found = named(ModelSource.class.getClassLoader());
        if (found.size() != 1) {
            throw new IllegalStateException("expected a file " + FILE + " in the resources ("
                    + (resourceLocation.isEmpty() ? "the importer named none" : resourceLocation)
                    + localeHint(resourceLocation)
                    + ") or one class that is named in META-INF/services/" + Model.class.getName()
                    + " on the class path, found "
                    + (found.isEmpty() ? "neither" : found.stream().map(Class::getName)
                    .collect(Collectors.joining(" and ", "the classes ", ""))));
        }
        return new ModelSource(found.get(0), null, null);
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

    /** Java opens no file whose name the locale of the process cannot spell. */
    private static String localeHint(String path) {
        File decoded = directory(path);
        String name = decoded != null ? decoded.getPath() : path;
        String encoding = System.getProperty("sun.jnu.encoding", "UTF-8");
        return Charset.isSupported(encoding)
                && Charset.forName(encoding).newEncoder().canEncode(name)
                ? "" : ", a name that needs another locale, LC_ALL=C.UTF-8 for instance";
    }
}
