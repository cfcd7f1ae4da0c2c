package com.zelvox.qorbetta;

import java.io.BufferedReader;
import java.io.File;
import java.io.IOException;
import java.io.InputStreamReader;
import java.lang.reflect.Modifier;
import java.net.URL;
import java.nio.charset.StandardCharsets;
import java.util.Collections;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeMap;
import java.util.TreeSet;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * Finds the class to be packed in the jars that a user calls the model: the one that is asked for,
 * else the one that they name as a service, else the only one that is a model. Whatever stands in
 * the way becomes a sentence with the next step for the author.
 */
final class ModelFinder {
    private static final String SERVICE = "META-INF/services/" + Model.class.getName();

    private final JarLoader loader; // of all jars
    private final JarLoader own; // of the model's, which are searched
    private final String where;

    /**
     * Searches no jar yet.
     *
     * @param jars their names in the directory
     * @param count how many of them, from the first one on, may hold the model
     * @param where what the user calls these
     */
    ModelFinder(File directory, List<String> jars, int count, String where) {
        loader = new UnitResources(directory, "", jars).open();
        own = new UnitResources(directory, "", jars.subList(0, count)).open();
        this.where = where;
    }

    /**
     * The class to be packed, not initialized yet.
     *
     * @param wanted its name, or nothing
     * @throws IllegalStateException with a sentence when it is not clear or of no use
     */
    Class<? extends Model> find(String wanted) {
        if (!wanted.isEmpty()) {
            return load(wanted, "--model");
        }
        Set<String> named = named();
        if (named.size() > 1) {
            throw choice(SERVICE + " in " + where + " names", named);
        }
        if (named.size() == 1) {
            return load(named.iterator().next(), SERVICE + " in " + where);
        }
        TreeMap<String, String> faults = new TreeMap<>();
        Set<String> models = search(faults);
        if (models.size() > 1) {
            throw choice(where + " has", models);
        }
        if (models.isEmpty()) {
            throw new IllegalStateException("there is no model in " + where
                    + ", expected a public class that implements " + Model.class.getName()
                    + (faults.isEmpty() ? "" : ": " + faults.firstEntry().getValue()));
        }
        return load(models.iterator().next(), where);
    }

    /** What the user can do about an exception, or its own reason. */
    static String reason(Throwable e) {
        String message = String.valueOf(e.getMessage());
        if (e instanceof UnsupportedClassVersionError) {
            Matcher version = Pattern.compile("class file version (\\d+)").matcher(message);
            if (version.find()) {
                String java = System.getProperty("java.specification.version");
                return "it was compiled for Java " + (Integer.parseInt(version.group(1)) - 44)
                        + ", and the JVM in " + System.getProperty("java.home") + " is Java " + java
                        + "; compile it with --release " + java + " or lower, or set JAVA_HOME";
            }
        }
        if (e instanceof NoClassDefFoundError) {
            Matcher place = Pattern.compile("(\\S+) \\(wrong name: (\\S+)\\)").matcher(message);
            if (place.matches()) {
                return "it lies in " + place.group(1) + ".class, expected " + place.group(2)
                        + ".class in the jar or directory";
            }
            if (message.matches("[^ .:]+")) {
                return "it needs the class " + message.replace('/', '.')
                        + ", which is in none of the jars; add its library with --jar";
            }
        }
        return Reason.of(e);
    }

    private Class<? extends Model> load(String name, String source) {
        try {
            Class<?> found = Class.forName(name, false, loader);
            String fault = faultOf(found);
            if (fault == null) {
                return found.asSubclass(Model.class);
            }
            throw new IllegalStateException(name + " " + fault
                    + (Model.class.isAssignableFrom(found) ? "" : candidates()));
        } catch (ClassNotFoundException e) {
            throw new IllegalStateException(source + " names " + name + ", and there is no such class"
                    + candidates());
        } catch (LinkageError e) {
            throw new IllegalStateException("the model " + name + " cannot be loaded: " + reason(e));
        }
    }

    /** Why the class cannot be packed, or null. */
    private String faultOf(Class<?> found) {
        if (!Model.class.isAssignableFrom(found)) {
            return "is no model, expected a class that implements " + Model.class.getName();
        }
        if (found.getClassLoader() != loader) {
            return "comes from the JVM's class path, which hides the one to be packed; leave it out of"
                    + " --class-path";
        }
        if (Modifier.isAbstract(found.getModifiers())) {
            return "is abstract, expected a class that objects can be made of";
        }
        if (!Modifier.isPublic(found.getModifiers())) {
            return "is not public, expected \"public class " + found.getSimpleName() + "\"";
        }
        try {
            found.getConstructor();
            return null;
        } catch (NoSuchMethodException e) {
            return "has no public constructor without arguments";
        }
    }

    /** The classes that the model's jars name as a service. */
    private Set<String> named() {
        Set<String> names = new TreeSet<>();
        for (URL file : Collections.list(own.findResources(SERVICE))) {
            try (BufferedReader lines = new BufferedReader(
                    new InputStreamReader(file.openStream(), StandardCharsets.UTF_8))) {
                lines.lines().map(line -> line.replaceAll("#.*|\uFEFF", "").trim())
                        .filter(name -> !name.isEmpty()).forEach(names::add);
            } catch (IOException e) {
                throw new IllegalStateException(file + " cannot be read: " + Reason.of(e));
            }
        }
        return names;
    }

    /**
     * Finds the models among all classes in the jars.
     *
     * @param faults gets why a class is none, by its name, if it implements {@link Model} or cannot
     *     be loaded
     */
    private Set<String> search(Map<String, String> faults) {
        Set<String> models = new TreeSet<>();
        for (String entry : own.names()) {
            if (!entry.endsWith(".class") || entry.startsWith("META-INF/")) {
                continue;
            }
            String name = entry.substring(0, entry.length() - ".class".length()).replace('/', '.');
            try {
                Class<?> found = Class.forName(name, false, loader);
                String fault = faultOf(found);
                if (fault == null) {
                    models.add(name);
                } else if (Model.class.isAssignableFrom(found)) {
                    faults.put(name, name + " " + fault);
                }
            } catch (ClassNotFoundException | LinkageError e) {
                faults.put(name, name + " cannot be loaded: " + reason(e));
            }
        }
        return models;
    }

    private String candidates() {
        Set<String> models = search(new TreeMap<>());
        return models.isEmpty() ? " in " + where
                : "; the models in " + where + ": " + String.join(", ", models);
    }

    private static IllegalStateException choice(String what, Set<String> models) {
        return new IllegalStateException(what + " " + models.size()
                + " models; choose one with --model: " + String.join(", ", models));
    }
}
