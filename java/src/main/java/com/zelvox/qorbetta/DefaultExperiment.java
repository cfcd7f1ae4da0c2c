package com.zelvox.qorbetta;

import java.lang.annotation.Documented;
import java.lang.annotation.ElementType;
import java.lang.annotation.Inherited;
import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;
import java.lang.annotation.Target;

/** How a {@link FieldModel} and the classes that extend it are best run, in seconds. */
@Documented
@Inherited
@Retention(RetentionPolicy.RUNTIME)
@Target(ElementType.TYPE)
public @interface DefaultExperiment {
    /** Where a run starts. */
    double startTime() default 0;

    /** Where it stops. */
    double stopTime();

    /** Its communication step size. */
    double stepSize();

    /** Its relative tolerance, for importers that have a use for it. */
    double tolerance() default Double.NaN;
}
