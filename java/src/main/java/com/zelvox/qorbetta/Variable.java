package com.zelvox.qorbetta;

/** One input, output or parameter of a model: a real number with a name. Immutable. */
public final class Variable {
    enum Kind { OUTPUT, INPUT, PARAMETER }

    final Kind kind;
    private final String name;
    private final String unit;
    private final String displayUnit;
    private final String description;
    private final double start;
    private final double min;
    private final double max;
    private final double nominal;

    /** Takes anything; what a description accepts is {@link #checked}. */
    Variable(Kind kind, String name, String unit, String displayUnit, String description,
            double start, double min, double max, double nominal) {
        this.kind = kind;
        this.name = name;
        this.unit = unit;
        this.displayUnit = displayUnit;
        this.description = description;
        this.start = start;
        this.min = min;
        this.max = max;
        this.nominal = nominal;
    }

    /** This variable, if all is well with it; throws an {@link IllegalArgumentException} if not. */
    Variable checked() {
        String variable = "variable '" + Checked.name("a variable", name) + "'";
        if (unit == null || !unit.isEmpty()) {
            Checked.name("the unit of " + variable, unit);
        }
        Checked.text("the description of " + variable, description);
        Checked.finite("the start of " + variable, start);
        if (!(min <= max)) {
            throw new IllegalArgumentException("the range of " + variable + " goes from "
                    + min + " to " + max + ", expected a maximum not below the minimum");
        }
        // What an output starts at is gone when the model is initialized, and in no FMU.
        if (kind != Kind.OUTPUT && (start < min || start > max)) {
            throw new IllegalArgumentException(variable + " starts at " + start
                    + ", expected a start in its range from " + min + " to " + max);
        }
        Checked.positive("the nominal value of " + variable, nominal);
        return this;
    }

    /** The same variable with limits. */
    Variable limited(double newMin, double newMax) {
        return new Variable(kind, name, unit, displayUnit, description, start, newMin, newMax,
                nominal);
    }

    /** The same variable, shown in another unit. */
    Variable displayed(String newUnit) {
        return new Variable(kind, name, unit, newUnit, description, start, min, max, nominal);
    }

    /** The same variable with another order of magnitude. */
    Variable scaled(double newNominal) {
        return new Variable(kind, name, unit, displayUnit, description, start, min, max, newNominal);
    }

    /** A variable of another name that is otherwise the same but for its start. */
    Variable named(String newName, double newStart) {
        return new Variable(kind, newName, unit, displayUnit, description, newStart, min, max,
                nominal);
    }

    /** The name, unique in the model. */
    public String name() {
        return name;
    }

    /** The name of the unit, which the model may or may not define; empty when there is none. */
    public String unit() {
        return unit;
    }

    /**
     * The name of the unit in which people like to see the values, one of those that {@link #unit}
     * is defined with; empty for that unit itself.
     */
    public String displayUnit() {
        return displayUnit;
    }

    /** What the variable means, in a few words; may be empty. */
    public String description() {
        return description;
    }

    /** The value until the importer or the model gives another; finite. */
    public double start() {
        return start;
    }

    /** The smallest legal value; negative infinity when there is no limit. */
    public double min() {
        return min;
    }

    /** The largest legal value; positive infinity when there is no limit. */
    public double max() {
        return max;
    }

    /** The order of magnitude of the values, greater than 0; 1 when the model does not say. */
    public double nominal() {
        return nominal;
    }

    @Override
    public String toString() {
        return unit.isEmpty() ? name : name + " [" + unit + "]";
    }
}
