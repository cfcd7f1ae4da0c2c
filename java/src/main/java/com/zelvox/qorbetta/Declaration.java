package com.zelvox.qorbetta;

import java.lang.reflect.Field;
import java.util.ArrayList;
import java.util.List;

/** What the annotation of a field says, whether it is an input, an output or a parameter. */
final class Declaration {
    enum Kind { INPUT, OUTPUT, PARAMETER }

    final Kind kind;
    private final String unit;
    private final String displayUnit;
    private final String description;
    private final double start; // NaN for the field's initial value
    private final double min;
    private final double max;
    private final double nominal;

    private Declaration(Kind kind, String unit, String displayUnit, String description,
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

    /** Null for a field that is no variable. */
    static Declaration of(Field field) {
        List<Declaration> found = new ArrayList<>();
        Input input = field.getAnnotation(Input.class);
        if (input != null) {
            found.add(new Declaration(Kind.INPUT, input.unit(), input.displayUnit(),
                    input.description(), input.start(), input.min(), input.max(),
                    input.nominal()));
        }
        Output output = field.getAnnotation(Output.class);
        if (output != null) {
            found.add(new Declaration(Kind.OUTPUT, output.unit(), output.displayUnit(),
                    output.description(), output.start(), output.min(), output.max(),
                    output.nominal()));
        }
        Parameter parameter = field.getAnnotation(Parameter.class);
        if (parameter != null) {
            found.add(new Declaration(Kind.PARAMETER, parameter.unit(), parameter.displayUnit(),
                    parameter.description(), parameter.start(), parameter.min(), parameter.max(),
                    parameter.nominal()));
        }
        if (found.size() > 1) {
            throw new IllegalArgumentException("has " + found.size()
                    + " of the annotations @Input, @Output and @Parameter, expected one");
        }
        return found.isEmpty() ? null : found.get(0);
    }

    /** The start value of a variable that the model initializes with {@code initial}. */
    double start(double initial) {
        if (Double.isNaN(start)) {
            return initial;
        }
        if (initial != 0) {
            throw new IllegalArgumentException("starts at " + initial
                    + " where it is declared and at " + start
                    + " in its annotation, expected one of the two");
        }
        return start;
    }

    void declare(ModelDescription.Builder model, String name, double startValue) {
        switch (kind) {
            case INPUT:
                model.input(name, unit, description, startValue);
                break;
            case OUTPUT:
                model.output(name, unit, description, startValue);
                break;
            default:
                model.parameter(name, unit, description, startValue);
                break;
        }
        model.range(min, max).nominal(nominal).displayUnit(displayUnit);
    }
}
