package com.zelvox.qorbetta;

import java.lang.annotation.Documented;
import java.lang.annotation.ElementType;
import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;
import java.lang.annotation.Target;

/** What a {@link FieldModel} is, for those who use it. All of it may be left out. */
@Documented
@Retention(RetentionPolicy.RUNTIME)
@Target(ElementType.TYPE)
public @interface ModelInfo {
    /** The model's name, as tools show it; without it, the name of the class. */
    String name() default "";

    /** What the model is, in a sentence. */
    String description() default "";

    /** Who wrote the model. */
    String author() default "";

    /** Which version of the model it is. */
    String version() default "";

    /** Under which licence it may be used. */
    String license() default "";

    /** Who holds the copyright. */
    String copyright() default "";
}
