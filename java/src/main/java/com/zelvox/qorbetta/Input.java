package com.zelvox.qorbetta;

import java.lang.annotation.Documented;
import java.lang.annotation.ElementType;
import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;
import java.lang.annotation.Target;

/**
 * Makes a {@code double} field of a {@link FieldModel} an input, and a {@code double[]} field as
 * many inputs as it has elements. The field holds the importer's value when the model is
 * initialized and when it steps.
 */
@Documented
@Retention(RetentionPolicy.RUNTIME)
@Target(ElementType.FIELD)
public @interface Input {
    /** The unit of the values in the field; empty for none. */
    String unit() default "";

    /** The unit in which people like to see them; one that {@link #unit} is defined with. */
    String displayUnit() default "";

    /** What the variable means, in a few words. */
    String description() default "";

    /** The start value; without it, the start value is what the field is initialized with. */
    double start() default Double.NaN;

    /** The smallest legal value. */
    double min() default Double.NEGATIVE_INFINITY;

    /** The largest legal value. */
    double max() default Double.POSITIVE_INFINITY;

    /** The order of magnitude of the values, greater than 0. */
    double nominal() default 1;
}
