package com.zelvox.qorbetta;

import java.io.File;
import java.math.BigDecimal;
import java.math.MathContext;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.Set;

/**
 * Tells the packer, which is no Java program, what the model in some jars says about itself.
 *
 * <p>Question and answer are lists of texts in UTF-8, each followed by a NUL, which no text holds.
 * The question: the directory of the jars, the model's class or nothing for the only one, what the
 * user named as the model, how many of the jars may hold it, the jars' file names, those first. The answer: a sentence that says what is
 * wrong, alone; or nothing, the class, name, description, author, version, licence, copyright, start
 * time, stop time, step size, tolerance, and then units, outputs, inputs and parameters. Each of these
 * four begins with its count; a unit is its name, eight exponents, factor and offset, and the count of
 * its display units with name, factor and offset of each as FMI has them: from the unit, not from the
 * base units; a variable its name, unit, display unit, description, start, min, max and nominal. Last
 * comes a count of sentences with what the author of a model with fields should hear.
 */
final class ModelReport {
    private final StringBuilder texts = new StringBuilder();

    private ModelReport() {
    }

    /** Called by the packer. Throws nothing. */
    static byte[] answer(byte[] question) {
        ModelReport report = new ModelReport();
        try {
            List<String> texts = Arrays.asList(
                    new String(question, StandardCharsets.UTF_8).split("\0", -1));
            File directory = new File(texts.get(0));
            report.add("");
            report.addModel(directory, texts.get(1), texts.get(2),
                    Integer.parseInt(texts.get(3)), texts.subList(4, texts.size() - 1));
        } catch (Throwable e) {
            report.texts.setLength(0);
            report.add(Reason.of(e).replace('\0', ' '));
        }
        return report.texts.toString().getBytes(StandardCharsets.UTF_8);
    }

    private void addModel(File directory, String wanted, String where, int own,
            List<String> jars) throws Throwable {
        JarLoader loader = new UnitResources(directory, wanted, jars).open();
        UnitResources model = new UnitResources(directory, wanted, jars.subList(0, own));
        addClass(new ModelFinder(loader, model, where).find(wanted));
    }

    private void addClass(Class<? extends Model> model) throws Throwable {
        add(model.getName());
        String first = described(model);
        if (!first.equals(described(model))) {
            throw new IllegalStateException("two objects of " + model.getName()
                    + " describe themselves differently, expected the same description always");
        }
        texts.append(first);
    }

    /** What a new object of the class says, which then takes its parameters as in a run. */
    private static String described(Class<? extends Model> modelClass) throws Throwable {
        Model model;
        try {
            model = ModelSource.newObject(modelClass);
        } catch (Throwable e) {
            throw failure(modelClass, "cannot be constructed", e);
        }
        ModelReport report = new ModelReport();
        try {
            ModelDescription description = describe(model);
            report.addDescription(description);
            report.addAll(model instanceof FieldModel
                    ? ((FieldModel) model).overlooked() : Collections.emptySet());
            handOverParameters(model, description.parameters());
        } finally {
            free(model);
        }
        return report.texts.toString();
    }

    private static ModelDescription describe(Model model) {
        ModelDescription description;
        try {
            description = model.describe();
        } catch (Throwable e) {
            throw failure(model.getClass(), "cannot be described", e);
        }
        if (description == null) {
            throw new IllegalStateException("the description of model " + model.getClass().getName()
                    + " is null, expected one made with ModelDescription.named");
        }
        if (description.outputs().isEmpty() && description.inputs().isEmpty()
                && description.parameters().isEmpty()) {
            throw new IllegalStateException("the model " + model.getClass().getName()
                    + " has no variable, expected an output, an input or a parameter");
        }
        return description;
    }

    private static void handOverParameters(Model model, List<Variable> parameters) {
        for (int i = 0; i < parameters.size(); i++) {
            try {
                model.set(i, parameters.get(i).start());
            } catch (Throwable e) {
                throw failure(model.getClass(), "refuses parameter " + parameters.get(i)
                        + " at its start value " + parameters.get(i).start(), e);
            }
        }
    }

    private static void free(Model model) {
        try {
            model.free();
        } catch (Throwable e) {
            // The description does not depend on it.
        }
    }

    private static IllegalStateException failure(Class<?> model, String what, Throwable e) {
        return new IllegalStateException(
                "the model " + model.getName() + " " + what + ": " + ModelFinder.reason(e));
    }

    private void addDescription(ModelDescription description) {
        add(description.name());
        add(description.description());
        add(description.author());
        add(description.version());
        add(description.license());
        add(description.copyright());
        add(description.startTime());
        add(description.stopTime());
        add(description.stepSize());
        add(description.tolerance());
        add(description.units().size());
        description.units().forEach(this::add);
        addVariables(description.outputs());
        addVariables(description.inputs());
        addVariables(description.parameters());
    }

    private void add(Unit unit) {
        add(unit.name());
        for (int exponent : unit.exponents()) {
            add(exponent);
        }
        add(unit.factor());
        add(unit.offset());
        add(unit.displayUnits().size());
        for (Unit display : unit.displayUnits()) {
            add(display.name());
            add(quotient(unit.factor(), display.factor(), unit.factor()));
            add(quotient(unit.offset() - display.offset(), display.factor(), display.offset()));
        }
    }

    /** Without last digits that only the arithmetic made: 1.8, not 1.7999999999999998. */
    private static double quotient(double dividend, double divisor, double magnitude) {
        double exact = dividend / divisor;
        double plain = new BigDecimal(exact).round(new MathContext(13)).doubleValue();
        double error = 2 * Math.max(Math.ulp(exact), Math.abs(Math.ulp(magnitude) / divisor));
        return Math.abs(plain - exact) <= error ? plain : exact;
    }

    private void addVariables(List<Variable> variables) {
        add(variables.size());
        for (Variable variable : variables) {
            add(variable.name());
            add(variable.unit());
            add(variable.displayUnit());
            add(variable.description());
            add(variable.start());
            add(variable.min());
            add(variable.max());
            add(variable.nominal());
        }
    }

    private void addAll(Set<String> list) {
        add(list.size());
        list.forEach(this::add);
    }

    private void add(Object text) {
        texts.append(text).append('\0');
    }
}
