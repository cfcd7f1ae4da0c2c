package com.zelvox.qorbetta;

import java.io.File;
import java.lang.reflect.InvocationTargetException;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.ServiceConfigurationError;
import java.util.ServiceLoader;
import java.util.stream.Collectors;

/**
 * Where an instance's model objects come from: one class, of which every run gets a new object.
 *
 * <p>A unit brings its model along, among its {@linkplain UnitResources resources}. All instances of
 * a unit share its classes, which other units do not see, until the last of them ends. A unit with
 * other content at the same place is another unit. Without resources the model comes from the class
 * path.
 */
final class ModelSource {
    /** The latest unit of each place, while it has instances; also the lock of all users. */
    private static final Map<File, ModelSource> UNITS = new HashMap<>();

    private final Class<? extends Model> modelClass;
    private final UnitResources unit; // null for a model of the class path
    private int users;

    private ModelSource(Class<? extends Model> modelClass, UnitResources unit) {
        this.modelClass = modelClass;
        this.unit = unit;
    }

    /**
     * Finds the model of an instance, whose end is a {@link #release}.
     *
     * @param resourceLocation the URI of the unit's resources, as the importer gave it
     * @throws IllegalStateException with a sentence when there is not exactly one model
     */
    static ModelSource find(String resourceLocation) {
        UnitResources unit = UnitResources.at(resourceLocation);
        if (unit == null) {
            return onClassPath(resourceLocation);
        }
        synchronized (UNITS) {
            ModelSource source = UNITS.get(unit.directory());
            // An importer may unpack the next unit where the last one was, with the same names and
            // times, and an instance of that one may not have been freed.
            if (source == null || !source.unit.sameAs(unit)) {
                source = new ModelSource(unit.load(unit.open()), unit);
                UNITS.put(unit.directory(), source);
            }
            source.users++;
            return source;
        }
    }

    /** Ends the use that began with {@link #find}. */
    void release() {
        synchronized (UNITS) {
            if (unit != null && --users == 0) {
                UNITS.remove(unit.directory(), this);
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

    private static ModelSource onClassPath(String resourceLocation) {
        List<Class<? extends Model>> found = new ArrayList<>();
        try {
            // The loader of a thread that native code attached knows nothing of the class path.
            ServiceLoader.load(Model.class, ModelSource.class.getClassLoader())
                    .forEach(model -> found.add(model.getClass()));
        } catch (ServiceConfigurationError e) {
            // The message begins with the name of the file.
            throw new IllegalStateException("META-INF/services/" + e.getMessage()
                    + (e.getCause() == null ? "" : ": " + Reason.of(e.getCause())));
        }
        if (found.size() != 1) {
            throw new IllegalStateException("expected a file " + UnitResources.FILE
                    + " in the resources ("
                    + (resourceLocation.isEmpty() ? "the importer named none" : resourceLocation)
                    + UnitResources.localeHint(resourceLocation)
                    + ") or one class that is named in META-INF/services/" + Model.class.getName()
                    + " on the class path, found "
                    + (found.isEmpty() ? "neither" : found.stream().map(Class::getName)
                    .collect(Collectors.joining(" and ", "the classes ", ""))));
        }
        return new ModelSource(found.get(0), null);
    }
}
