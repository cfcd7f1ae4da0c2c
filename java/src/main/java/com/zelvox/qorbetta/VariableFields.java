package com.zelvox.qorbetta;

import java.lang.reflect.Field;
import java.util.ArrayList;
import java.util.EnumMap;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/**
 * The fields that are the variables of one {@link FieldModel}, in it and in the objects that it
 * consists of: their description, and the way of all their values. Whatever is wrong with a field is
 * an {@link IllegalArgumentException} that begins with its name.
 */
final class VariableFields {
    final ModelDescription description;
    private final VariableField[] inputs; // arrays, since every step goes through them
    private final VariableField[] outputs;
    private final VariableField[] parameters; // one for each parameter
    private final Place[] parts;

    /** Reads a model that has just been made, and gives its fields their start values. */
    VariableFields(FieldModel model) {
        Map<Variable.Kind, List<VariableField>> fields = new EnumMap<>(Variable.Kind.class);
        for (Variable.Kind kind : Variable.Kind.values()) {
            fields.put(kind, new ArrayList<>());
        }
        List<Place> objects = new ArrayList<>();
        ModelDescription.Builder builder = head(model.getClass());
        Map<String, UnitDefinition> units = new LinkedHashMap<>();
        for (Place place : new Parts(model).places) {
            if (place.declaration != null) {
                add(place, fields.get(place.declaration.kind), builder);
            } else if (place.leads || place.holder == null) {
                objects.add(place);
                addUnits(ClassFields.of(place.value.getClass()), units);
            }
        }
        units.values().forEach(unit -> builder.unit(unitOf(unit)));
        description = builder.build();
        inputs = fields.get(Variable.Kind.INPUT).stream().distinct().toArray(VariableField[]::new);
        outputs = fields.get(Variable.Kind.OUTPUT).stream().distinct().toArray(VariableField[]::new);
        parameters = fields.get(Variable.Kind.PARAMETER).toArray(new VariableField[0]);
        parts = objects.stream().skip(1).toArray(Place[]::new); // the model itself is in no field
    }

    void setInputs(double[] values) throws IllegalAccessException {
        checkParts();
        for (VariableField field : inputs) {
            field.setFrom(values);
        }
    }

    void getOutputs(double[] values) throws IllegalAccessException {
        checkParts();
        for (VariableField field : outputs) {
            field.getInto(values);
        }
    }

    void setParameter(int index, double value) {
        try {
            checkParts();
            parameters[index].set(index, value);
        } catch (IllegalAccessException e) {
            throw new AssertionError(e); // the fields are accessible
        }
    }

    private void checkParts() {
        for (Place part : parts) {
            part.check();
        }
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

    private static void addUnits(ClassFields declared, Map<String, UnitDefinition> units) {
        if (declared.unreadable != null) {
            throw declared.unreadable;
        }
        declared.units.forEach((unit, type) -> {
            UnitDefinition known = units.putIfAbsent(unit.name(), unit);
            if (known != null && !known.equals(unit)) {
                throw new IllegalArgumentException(type.getName() + " defines the unit '"
                        + unit.name() + "', which is defined otherwise already");
            }
        });
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

    /** Declares a field's variables, and adds it to those of its kind once for each. */
    private static void add(Place place, List<VariableField> group,
            ModelDescription.Builder builder) {
        Field field = place.field;
        Object owner = place.holder.value;
        try {
            boolean isArray = field.getType() == double[].class;
            double[] initial = isArray
                    ? (double[]) place.value : new double[] {field.getDouble(owner)};
            if (initial == null || initial.length == 0) {
                throw new IllegalArgumentException("is " + (initial == null ? "null" : "empty")
                        + ", expected an array with as many elements as there are to be variables");
            }
            VariableField bound = new VariableField(
                    owner, field, isArray ? initial.length : 0, group.size());
            for (int i = 0; i < initial.length; i++) {
                String name = place.name() + (isArray ? "[" + (i + 1) + "]" : "");
                bound.set(group.size(), declare(place.declaration, name, initial[i], builder));
                group.add(bound);
            }
        } catch (IllegalArgumentException e) {
            throw place.wrong(e.getMessage());
        } catch (IllegalAccessException e) {
            throw new AssertionError(e); // the fields are accessible
        }
    }

    /**
     * Declares a variable that the model initializes with {@code initial}.
     *
     * @return its start value
     */
    private static double declare(Variable annotation, String name, double initial,
            ModelDescription.Builder builder) {
        boolean hasStart = !Double.isNaN(annotation.start());
        if (hasStart && initial != 0) {
            throw new IllegalArgumentException("starts at " + initial
                    + " where it is declared and at " + annotation.start()
                    + " in its annotation, expected one of the two");
        }
        Variable variable = annotation.named(name, hasStart ? annotation.start() : initial);
        try {
            builder.declare(variable);
            return variable.start();
        } catch (IllegalArgumentException e) {
            throw new IllegalArgumentException("cannot be a variable: " + e.getMessage());
        }
    }
}
