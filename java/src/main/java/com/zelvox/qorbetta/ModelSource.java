package com.zelvox.qorbetta;

import java.lang.reflect.InvocationTargetException;
import java.util.ArrayList;
import java.util.List;
import java.util.ServiceConfigurationError;
import java.util.ServiceLoader;
import java.util.stream.Collectors;

/** Where an instance's model objects come from: one class, of which every run gets a new object. */
final class ModelSource {
    private final Class<? extends Model> modelClass;

    private ModelSource(Class<? extends Model> modelClass) {
        this.modelClass = modelClass;
    }

    /**
     * Finds the model of an instance: the only one on the class path, whatever the resources.
     *
     * @param resourceLocation the URI of the unit's resources, as the importer gave it
     * @throws IllegalStateException with a sentence when there is not exactly one model
     */
    static ModelSource find(String resourceLocation) {
        List<Class<? extends Model>> found = new ArrayList<>();
        // The class loader of a thread that native code attached knows nothing of the class path.
        try {
            ClassLoader loader = ModelSource.class.getClassLoader();
            for (Model model : ServiceLoader.load(Model.class, loader)) {
                found.add(model.getClass());
            }
        } catch (ServiceConfigurationError e) {
            throw new IllegalStateException(e.getMessage()
                    + (e.getCause() == null ? "" : ": " + Instance.reason(e.getCause())));
        }
        if (found.size() != 1) {
            throw new IllegalStateException("expected one class that is named in META-INF/services/"
                    + Model.class.getName() + " on the class path, found "
                    + (found.isEmpty() ? "none" : found.stream().map(Class::getName)
                    .collect(Collectors.joining(" and "))));
        }
        return new ModelSource(found.get(0));
    }

    /** A new object of the model class; throws what its constructor throws. */
    Model newModel() throws Throwable {
        try {
            return modelClass.getConstructor().newInstance();
        } catch (InvocationTargetException e) {
            throw e.getCause();
        }
    }
}
