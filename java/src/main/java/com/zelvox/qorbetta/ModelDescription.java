package com.zelvox.qorbetta;

import java.util.ArrayList;
import java.util.Collections;
import java.util.HashSet;
import java.util.List;
import java.util.Set;

/**
 * What a model tells about itself: names, units, meanings, start values, and how it is best run.
 * Immutable; a model writes it down as one expression that begins with {@link #named}.
 *
 * <pre>
 *   ModelDescription.named("Tank")
 *       .describedAs("Water tank with a drain")
 *       .unit(Unit.of("m3/s").m(3).s(-1))
 *       .input("inflow", "m3/s", "water flowing in", 0.0)
 *       .output("level", "m", "height of the water")
 *       .parameter("area", "m2", "area of the ground", 2.0).range(0.01, 100)
 *       .experiment(0, 60, 0.1)
 *       .build();
 * </pre>
 *
 * The order of declaration is the order of the values in every array. A mistake is an
 * {@link IllegalArgumentException} at the line that makes it.
 */
public final class ModelDescription {
    private final String name;
    private final String description;
    private final String author;
    private final String version;
    private final String license;
    private final String copyright;
    private final List<Variable> inputs;
    private final List<Variable> outputs;
    private final List<Variable> parameters;
    private final List<Unit> units;
    private final double startTime;
    private final double stopTime;
    private final double stepSize;
    private final double tolerance;

    private ModelDescription(Builder builder) {
        name = builder.name;
        description = builder.description;
        author = builder.author;
        version = builder.version;
        license = builder.license;
        copyright = builder.copyright;
        inputs = frozen(builder.inputs);
        outputs = frozen(builder.outputs);
        parameters = frozen(builder.parameters);
        units = frozen(builder.units);
        startTime = builder.startTime;
        stopTime = builder.stopTime;
        stepSize = builder.stepSize;
        tolerance = builder.tolerance;
    }

    /**
     * Begins a description.
     *
     * @param name the model's name, as tools show it
     */
    public static Builder named(String name) {
        return new Builder(checkedName("the model", name));
    }

    /** The model's name. */
    public String name() {
        return name;
    }

    /** What the model is, in a sentence; may be empty, as may the four texts that follow. */
    public String description() {
        return description;
    }

    /** Who wrote the model. */
    public String author() {
        return author;
    }

    /** Which version of the model it is. */
    public String version() {
        return version;
    }

    /** Under which licence it may be used. */
    public String license() {
        return license;
    }

    /** Who holds the copyright. */
    public String copyright() {
        return copyright;
    }

    /** The inputs in the order of declaration; this list and the others cannot be changed. */
    public List<Variable> inputs() {
        return inputs;
    }

    /** The outputs in the order of declaration. */
    public List<Variable> outputs() {
        return outputs;
    }

    /** The parameters in the order of declaration. */
    public List<Variable> parameters() {
        return parameters;
    }

    /** The units that the model defines; variables may use others besides. */
    public List<Unit> units() {
        return units;
    }

    /**
     * Where a run starts when nobody says otherwise, in seconds; NaN when the model names no
     * experiment.
     */
    public double startTime() {
        return startTime;
    }

    /** Where such a run stops; NaN when the model names no experiment. */
    public double stopTime() {
        return stopTime;
    }

    /** The communication step size of such a run; NaN when the model names no experiment. */
    public double stepSize() {
        return stepSize;
    }

    /** The relative tolerance of such a run; NaN when the model names none. */
    public double tolerance() {
        return tolerance;
    }

    static String checkedName(String what, String name) {
        if (name == null || name.isEmpty()) {
            throw new IllegalArgumentException(what + " has no name");
        }
        if (!isText(name, "") || !name.trim().equals(name)) {
            throw new IllegalArgumentException(what + " is called '" + name
                    + "', expected a name without control characters and without blanks around it");
        }
        return name;
    }

    static double checkedNumber(String what, double value) {
        if (Double.isNaN(value) || Double.isInfinite(value)) {
            throw new IllegalArgumentException(what + " is " + value
                    + ", expected a finite number");
        }
        return value;
    }

    private static String checkedText(String what, String text) {
        if (text == null || !isText(text, "\n\t")) {
            throw new IllegalArgumentException(what + " is "
                    + (text == null ? "null" : "'" + text + "'")
                    + ", expected a text without control characters");
        }
        return text;
    }

    /** Whether every character may stand in the XML file that tools make of the description. */
    private static boolean isText(String text, String legalControls) {
        return text.codePoints().allMatch(c -> legalControls.indexOf(c) >= 0
                || !Character.isISOControl(c) && Character.getType(c) != Character.SURROGATE
                && c != 0xFFFE && c != 0xFFFF);
    }

    private static <T> List<T> frozen(List<T> list) {
        return Collections.unmodifiableList(new ArrayList<>(list));
    }

    /**
     * Collects a description. Every method but {@link #build} answers the builder itself and throws
     * {@link IllegalArgumentException} when it is given something that no description may hold.
     */
    public static final class Builder {
        private final String name;
        private String description = "";
        private String author = "";
        private String version = "";
        private String license = "";
        private String copyright = "";
        private final List<Variable> inputs = new ArrayList<>();
        private final List<Variable> outputs = new ArrayList<>();
        private final List<Variable> parameters = new ArrayList<>();
        private final List<Unit> units = new ArrayList<>();
        private double startTime = Double.NaN;
        private double stopTime = Double.NaN;
        private double stepSize = Double.NaN;
        private double tolerance = Double.NaN;

        private final Set<String> variableNames = new HashSet<>();
        private final Set<String> unitNames = new HashSet<>();
        private List<Variable> latest = Collections.emptyList();

        private Builder(String name) {
            this.name = name;
        }

        /** Says what the model is, in a sentence. */
        public Builder describedAs(String text) {
            description = checkedText("the description", text);
            return this;
        }

        /** Says who wrote the model. */
        public Builder author(String text) {
            author = checkedText("the author", text);
            return this;
        }

        /** Says which version of the model it is. */
        public Builder version(String text) {
            version = checkedText("the version", text);
            return this;
        }

        /** Says under which licence the model may be used. */
        public Builder license(String text) {
            license = checkedText("the licence", text);
            return this;
        }

        /** Says who holds the copyright. */
        public Builder copyright(String text) {
            copyright = checkedText("the copyright", text);
            return this;
        }

        /**
         * Defines a unit, so that tools can convert its values. A unit may also be used without.
         */
        public Builder unit(Unit unit) {
            if (!unitNames.add(unit.name())) {
                throw new IllegalArgumentException("unit '" + unit.name() + "' is defined twice");
            }
            units.add(unit);
            return this;
        }

        /** Declares an input, which is {@code start} until the importer sets it. */
        public Builder input(String name, String unit, String description, double start) {
            return declare(inputs, name, unit, description, start);
        }

        /** Declares an output that is 0 until the model is initialized. */
        public Builder output(String name, String unit, String description) {
            return output(name, unit, description, 0);
        }

        /** Declares an output that is {@code start} until the model is initialized. */
        public Builder output(String name, String unit, String description, double start) {
            return declare(outputs, name, unit, description, start);
        }

        /** Declares a parameter, which is {@code start} until the importer sets it. */
        public Builder parameter(String name, String unit, String description, double start) {
            return declare(parameters, name, unit, description, start);
        }

        /**
         * Limits the variable declared last. A parameter outside of its range is refused before the
         * model sees it; for inputs and outputs the range informs the importer.
         *
         * @param min the smallest legal value; negative infinity for no limit
         * @param max the largest legal value; positive infinity for no limit
         */
        public Builder range(double min, double max) {
            Variable v = latest("range");
            if (!(min <= v.start() && v.start() <= max)) {
                throw new IllegalArgumentException("variable '" + v.name() + "' starts at "
                        + v.start() + ", expected a start in its range from " + min + " to " + max);
            }
            return replaceLatest(new Variable(v.name(), v.unit(), v.description(), v.start(),
                    min, max, v.nominal()));
        }

        /**
         * Gives the order of magnitude of the variable declared last.
         *
         * @param value a finite number greater than 0
         */
        public Builder nominal(double value) {
            Variable v = latest("nominal");
            requirePositive("the nominal value of variable '" + v.name() + "'", value);
            return replaceLatest(new Variable(v.name(), v.unit(), v.description(), v.start(),
                    v.min(), v.max(), value));
        }

        /** Says how the model is best run: over which time and with which step size, in seconds. */
        public Builder experiment(double start, double stop, double step) {
            checkedNumber("the start time", start);
            checkedNumber("the stop time", stop);
            if (stop <= start) {
                throw new IllegalArgumentException("the experiment goes from " + start + " to "
                        + stop + ", expected a stop time behind the start time");
            }
            requirePositive("the step size", step);
            startTime = start;
            stopTime = stop;
            stepSize = step;
            return this;
        }

        /** The same, with the relative tolerance for importers that have a use for it. */
        public Builder experiment(double start, double stop, double step,
                double relativeTolerance) {
            requirePositive("the tolerance", relativeTolerance);
            tolerance = relativeTolerance;
            return experiment(start, stop, step);
        }

        /** The finished description. */
        public ModelDescription build() {
            return new ModelDescription(this);
        }

        private Builder declare(List<Variable> group, String name, String unit, String description,
                double start) {
            checkedName("a variable", name);
            String variable = "variable '" + name + "'";
            if (!variableNames.add(name)) {
                throw new IllegalArgumentException(variable + " is declared twice");
            }
            if (unit == null || !unit.isEmpty()) {
                checkedName("the unit of " + variable, unit);
            }
            group.add(new Variable(name, unit,
                    checkedText("the description of " + variable, description),
                    checkedNumber("the start of " + variable, start),
                    Double.NEGATIVE_INFINITY, Double.POSITIVE_INFINITY, 1));
            latest = group;
            return this;
        }

        private Variable latest(String method) {
            if (latest.isEmpty()) {
                throw new IllegalArgumentException(method
                        + " comes first, expected a variable before it");
            }
            return latest.get(latest.size() - 1);
        }

        private Builder replaceLatest(Variable variable) {
            latest.set(latest.size() - 1, variable);
            return this;
        }

        private static void requirePositive(String what, double value) {
            if (checkedNumber(what, value) <= 0) {
                throw new IllegalArgumentException(what + " is " + value
                        + ", expected more than 0");
            }
        }
    }
}
