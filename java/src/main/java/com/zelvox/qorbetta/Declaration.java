package com.zelvox.qorbetta;

import java.lang.reflect.Field;
import java.lang.reflect.Modifier;
import java.util.ArrayList;
import java.util.List;

/** What the annotation of a field says, whether it is an input, an output or a parameter. */
final class Declaration {
    final Variable.Kind kind;
    private final String unit;
    private final String displayUnit;
    private final String description;
    private final double start; // NaN for the field's initial value
    private final double min;
    private final double max;
    private final double nominal;

    private Declaration(Variable.Kind kind, String unit, String displayUnit, String description,
            double start, double min, double max, double nominal) {
        this.kind = kind;
        this.unit = unit;
        this.displayUnit = displayUnit;
        this.description = description;
        this.start = start;
        this.min = min;
        this.max = max;
        this.nominal = nominal;
    }

    /**
     * Null for a field that is no variable.
     *
     * @throws IllegalArgumentException with a sentence when the field cannot be one
     */
    static Declaration of(Field field) {
        List<Declaration> found = new ArrayList<>();
        Input input = field.getAnnotation(Input.class);
        if (input != null) {
            found.add(new Declaration(Variable.Kind.INPUT, input.unit(), input.displayUnit(),
                    input.description(), input.start(), input.min(), input.max(),
                    input.nominal()));
        }
        Output output = field.getAnnotation(Output.class);
        if (output != null) {
            found.add(new Declaration(Variable.Kind.OUTPUT, output.unit(), output.displayUnit(),
                    output.description(), output.start(), output.min(), output.max(),
                    output.nominal()));
        }
        Parameter parameter = field.getAnnotation(Parameter.class);
        if (parameter != null) {
            found.add(new Declaration(Variable.Kind.PARAMETER, parameter.unit(),
                    parameter.displayUnit(), parameter.description(), parameter.start(),
                    parameter.min(), parameter.max(), parameter.nominal()));
        }
        if (found.isEmpty()) {
            return null;
        }
        String fault = fault(field, found.size());
        if (!fault.isEmpty()) {
            throw new IllegalArgumentException(VariableField.nameOf(field) + " " + fault);
        }
        return found.get(0);
    }

    private static String fault(Field field, int annotations) {
        boolean isNumber = field.getType() == double.class;
        if (annotations > 1) {
            return "has " + annotations
                    + " of the annotations @Input, @Output and @Parameter, expected one";
        }
        if (!isNumber && field.getType() != double[].class) {
            return "is of the type " + field.getType().getTypeName()
                    + ", expected double or double[]";
        }
        if (Modifier.isStatic(field.getModifiers())) {
            return "is static, expected a field of each object";
        }
        return isNumber && Modifier.isFinal(field.getModifiers())
                ? "is final, expected a field that can change" : "";
    }

    /**
     * Declares a variable that the model initializes with {@code initial}.
     *
     * @return its start value
     */
    double declare(ModelDescription.Builder model, String name, double initial) {
        if (!Double.isNaN(start) && initial != 0) {
            throw new IllegalArgumentException("starts at " + initial
                    + " where it is declared and at " + start
                    + " in its annotation, expected one of the two");
        }
        double used = Double.isNaN(start) ? initial : start;
        try {
            model.declare(kind, name, unit, description, used)
                    .range(min, max).nominal(nominal).displayUnit(displayUnit);
        } catch (IllegalArgumentException e) {
            throw new IllegalArgumentException("cannot be a variable: " + e.getMessage());
        }
        return used;
    }
}
