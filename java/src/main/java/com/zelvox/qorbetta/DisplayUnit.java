package com.zelvox.qorbetta;

import java.lang.annotation.Documented;
import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;
import java.lang.annotation.Target;

/**
 * Another unit of the same dimension, in which people may enter or see values: its factor and
 * offset relate it to the base units, as those of the {@link UnitDefinition} that it belongs to.
 */
@Documented
@Retention(RetentionPolicy.RUNTIME)
@Target({})
public @interface DisplayUnit {
    /** The name, such as {@code L/min}. */
    String name();

    /** How many base units one of this unit is: for {@code L/min} it is {@code 1e-3 / 60}. */
    double factor() default 1;

    /** The value in base units at 0 of this unit: for {@code °C} it is {@code 273.15}. */
    double offset() default 0;
}
