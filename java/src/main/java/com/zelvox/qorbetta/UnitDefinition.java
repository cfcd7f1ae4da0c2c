package com.zelvox.qorbetta;

import java.lang.annotation.Documented;
import java.lang.annotation.ElementType;
import java.lang.annotation.Repeatable;
import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;
import java.lang.annotation.Target;

/**
 * Defines a unit of a {@link FieldModel} in SI base units, as {@link Unit} does, so that tools can
 * convert its values:
 *
 * <pre>
 *   &#64;UnitDefinition(name = "m3/s", m = 3, s = -1,
 *           displayUnits = &#64;DisplayUnit(name = "L/min", factor = 1e-3 / 60))
 * </pre>
 *
 * It may stand on the model, on the classes that it extends, and on those of the objects in it. The
 * same unit may be defined at several of them if all say the same.
 */
@Documented
@Repeatable(UnitDefinition.List.class)
@Retention(RetentionPolicy.RUNTIME)
@Target(ElementType.TYPE)
public @interface UnitDefinition {
    /** The name that variables use. */
    String name();

    /** The exponent of the base unit, here and in the seven that follow. */
    int kg() default 0;

    int m() default 0;

    int s() default 0;

    int A() default 0;

    int K() default 0;

    int mol() default 0;

    int cd() default 0;

    int rad() default 0;

    /** How many base units one unit is. */
    double factor() default 1;

    /** The value in base units at 0 of this unit. */
    double offset() default 0;

    /** Other units of the same dimension. */
    DisplayUnit[] displayUnits() default {};

    /** What the compiler makes of several definitions. */
    @Documented
    @Retention(RetentionPolicy.RUNTIME)
    @Target(ElementType.TYPE)
    @interface List {
        UnitDefinition[] value();
    }
}
