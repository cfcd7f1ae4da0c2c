package com.zelvox.qorbetta;

import java.lang.reflect.Field;
import java.lang.reflect.Modifier;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Collections;
import java.util.Deque;
import java.util.IdentityHashMap;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/**
 * Finds the fields that are the variables of a {@link FieldModel}, in it and in the objects that it
 * consists of, and makes the model's description of them. Whatever is wrong with a field is an
 * {@link IllegalArgumentException} that begins with its name.
 */
final class FieldReader {
    private final ModelDescription.Builder description;
    private final List<VariableField> inputs = new ArrayList<>();
    private final List<VariableField> outputs = new ArrayList<>();
    private final List<VariableField> parameters = new ArrayList<>();
    private int inputCount;
    private int outputCount;
    private final List<PartField> parts = new ArrayList<>();
    private final Map<Object, String> names = new IdentityHashMap<>(); // of objects and arrays
    private final Map<String, UnitDefinition> units = new LinkedHashMap<>();
    private final PartSearch search;

    private FieldReader(FieldModel model) {
        description = head(model.getClass());
        search = new PartSearch(model);
    }

    /** Reads a model that has just been made, and gives its fields their start values. */
    static VariableFields read(FieldModel model) {
        FieldReader reader = new FieldReader(model);
        reader.names.put(model, "the model");
        reader.readObject(model, "");
        reader.units.values().forEach(unit -> reader.description.unit(unitOf(unit)));
        return new VariableFields(reader.description.build(), reader.inputs, reader.outputs,
                reader.parameters, reader.parts);
    }

    private static ModelDescription.Builder head(Class<?> model) {
        ModelInfo info = model.getAnnotation(ModelInfo.class);
        boolean named = info != null && !info.name().isEmpty();
        ModelDescription.Builder head =
                ModelDescription.named(named ? info.name() : model.getSimpleName());
        if (info != null) {
            head.describedAs(info.description()).author(info.author()).version(info.version())
                    .license(info.license()).copyright(info.copyright());
        }
        DefaultExperiment run = model.getAnnotation(DefaultExperiment.class);
        if (run != null && Double.isNaN(run.tolerance())) {
            head.experiment(run.startTime(), run.stopTime(), run.stepSize());
        } else if (run != null) {
            head.experiment(run.startTime(), run.stopTime(), run.stepSize(), run.tolerance());
        }
        return head;
    }

    private static Unit unitOf(UnitDefinition definition) {
        Unit unit = Unit.of(definition.name()).kg(definition.kg()).m(definition.m())
                .s(definition.s()).A(definition.A()).K(definition.K()).mol(definition.mol())
                .cd(definition.cd()).rad(definition.rad())
                .factor(definition.factor()).offset(definition.offset());
        for (DisplayUnit display : definition.displayUnits()) {
            unit = unit.display(display.name(), display.factor(), display.offset());
        }
        return unit;
    }

    private void readObject(Object object, String prefix) {
        Deque<Class<?>> classes = new ArrayDeque<>();
        for (Class<?> c = object.getClass(); !ClassFields.isOfJava(c); c = c.getSuperclass()) {
            classes.addFirst(c);
        }
        for (Class<?> c : classes) {
            ClassFields declared = ClassFields.of(c);
            if (declared.unreadable != null) {
                throw declared.unreadable;
            }
            for (UnitDefinition unit : declared.units) {
                UnitDefinition known = units.putIfAbsent(unit.name(), unit);
                if (known != null && !known.equals(unit)) {
                    throw new IllegalArgumentException(c.getName() + " defines the unit '"
                            + unit.name() + "', which is defined otherwise already");
                }
            }
            for (int i = 0; i < declared.fields.size(); i++) {
                Field field = declared.fields.get(i);
                try {
                    readField(object, field, prefix + field.getName(), declared.declarations.get(i));
                } catch (IllegalAccessException e) {
                    throw new AssertionError(e); // fields are made accessible before
                }
            }
        }
    }

    /** @param declaration null for a field that is no variable */
    private void readField(Object owner, Field field, String name, Declaration declaration)
            throws IllegalAccessException {
        Map<String, Object> objects;
        try {
            if (declaration != null) {
                readVariables(owner, field, name, declaration);
                return;
            }
            objects = partsIn(owner, field, name);
        } catch (IllegalArgumentException e) {
            throw new IllegalArgumentException(
                    VariableField.nameOf(field) + " " + e.getMessage());
        }
        objects.forEach((part, object) -> readObject(object, part + "."));
    }

    private void readVariables(Object owner, Field field, String name, Declaration declaration)
            throws IllegalAccessException {
        boolean isArray = field.getType() == double[].class;
        if (!isArray && field.getType() != double.class) {
            throw new IllegalArgumentException("is of the type "
                    + field.getType().getTypeName() + ", expected double or double[]");
        }
        if (Modifier.isStatic(field.getModifiers())) {
            throw new IllegalArgumentException("is static, expected a field of each object");
        }
        if (!isArray && Modifier.isFinal(field.getModifiers())) {
            throw new IllegalArgumentException("is final, expected a field that can change");
        }
        if (!isArray) {
            double start = declaration.start(field.getDouble(owner));
            field.setDouble(owner, start);
            declare(declaration, name, start);
            bind(declaration.kind, owner, field, 0);
            return;
        }
        double[] array = (double[]) field.get(owner);
        if (array == null || array.length == 0) {
            throw new IllegalArgumentException("is " + (array == null ? "null" : "empty")
                    + ", expected an array with as many elements as there are to be variables");
        }
        remember(array, name);
        for (int i = 0; i < array.length; i++) {
            array[i] = declaration.start(array[i]);
            declare(declaration, name + "[" + (i + 1) + "]", array[i]);
        }
        bind(declaration.kind, owner, field, array.length);
    }

    private void declare(Declaration declaration, String name, double start) {
        try {
            declaration.declare(description, name, start);
        } catch (IllegalArgumentException e) {
            throw new IllegalArgumentException("cannot be a variable: " + e.getMessage());
        }
    }

    /** @param length of an array; 0 for a number */
    private void bind(Declaration.Kind kind, Object owner, Field field, int length) {
        int count = Math.max(length, 1);
        if (kind == Declaration.Kind.INPUT) {
            inputs.add(new VariableField(owner, field, length, inputCount));
            inputCount += count;
        } else if (kind == Declaration.Kind.OUTPUT) {
            outputs.add(new VariableField(owner, field, length, outputCount));
            outputCount += count;
        } else {
            VariableField bound = new VariableField(owner, field, length, parameters.size());
            for (int i = 0; i < count; i++) {
                parameters.add(bound);
            }
        }
    }

    /** The objects with variables that a field holds, by name. */
    private Map<String, Object> partsIn(Object owner, Field field, String name)
            throws IllegalAccessException {
        Object value = field.get(owner);
        if (!search.leads(value, field.getType())) {
            return Collections.emptyMap();
        }
        parts.add(new PartField(owner, field, value));
        Map<String, Object> objects = new LinkedHashMap<>();
        if (value instanceof Object[]) {
            for (Object element : (Object[]) value) {
                objects.put(name + "[" + (objects.size() + 1) + "]", element);
            }
        } else {
            objects.put(name, value);
        }
        objects.forEach((part, object) -> {
            if (object == null || object instanceof Object[]) {
                throw new IllegalArgumentException("holds " + (object == null ? "null" : "arrays")
                        + ", expected objects with variables; transient would leave it out");
            }
            remember(object, part);
        });
        return objects;
    }

    /** Every object and array belongs to one variable or part, or one would overwrite the other. */
    private void remember(Object object, String name) {
        String other = names.put(object, name);
        if (other != null) {
            throw new IllegalArgumentException("is the same object as " + other
                    + ", expected one of its own; transient would leave it out");
        }
    }
}
