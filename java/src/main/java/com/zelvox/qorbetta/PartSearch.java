package com.zelvox.qorbetta;

import java.lang.reflect.Field;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collection;
import java.util.Collections;
import java.util.Deque;
import java.util.HashSet;
import java.util.IdentityHashMap;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import java.util.Set;
import java.util.TreeSet;

/**
 * Tells which objects have variables, themselves or in what they hold. What fields hold decides, not
 * what they are declared as: an interface, a type variable or {@code Object} tells nothing.
 */
final class PartSearch {
    /** Whether objects of a class are to have variables, by the types of its fields. */
    private static final ClassValue<Boolean> MADE_OF_PARTS = new ClassValue<Boolean>() {
        @Override
        protected Boolean computeValue(Class<?> type) {
            return isMadeOfParts(type, new HashSet<>());
        }
    };

    /** Null, or the search whose objects are known, where this one also looks into collections. */
    private final PartSearch known;
    /** What holds each object and array that was reached. */
    private final Map<Object, List<Object>> holders = new IdentityHashMap<>();
    private final Deque<Object> reached = new ArrayDeque<>();
    private final Set<Object> leading = Collections.newSetFromMap(new IdentityHashMap<>());

    /** Searches an object and all that it leads to. */
    PartSearch(Object start) {
        this(start, null);
    }

    private PartSearch(Object start, PartSearch known) {
        this.known = known;
        Deque<Object> found = new ArrayDeque<>();
        reach(start, start);
        while (!reached.isEmpty()) {
            Object object = reached.poll();
            boolean wanted = lookInto(object);
            if (known == null ? wanted : isHidden(object)) {
                found.add(object);
            }
        }
        while (!found.isEmpty()) {
            Object object = found.poll();
            if (leading.add(object)) {
                found.addAll(holders.get(object));
            }
        }
    }

    /** Whether what a field or an array of this type holds has variables, or ought to. */
    boolean leads(Object value, Class<?> declared) {
        return value == null ? MADE_OF_PARTS.get(declared) : leading.contains(value);
    }

    /** What a search passes by, in sentences that begin with the field or class. */
    static Set<String> notLookedInto(Object start) {
        PartSearch search = new PartSearch(start);
        PartSearch hidden = new PartSearch(start, search); // one for all collections
        Set<String> sentences = new TreeSet<>();
        for (Object object : search.holders.keySet()) {
            for (Class<?> c = object.getClass(); !ClassFields.isOfJava(c); c = c.getSuperclass()) {
                ClassFields declared = ClassFields.of(c);
                if (declared.unreadable != null) {
                    sentences.add(c.getName() + " cannot be looked into for variables: "
                            + ModelFinder.reason(declared.unreadable));
                }
                for (Field field : declared.fields) {
                    if (hidden.leadsByCollection(get(field, object))) {
                        sentences.add(VariableField.nameOf(field) + " holds objects with variables"
                                + " in a collection, and collections are not looked into; hold them in"
                                + " an array, or say with transient that they are to be left out");
                    }
                }
            }
        }
        return sentences;
    }

    /** Whether a collection, or one in an array, leads to variables that are not known. */
    private boolean leadsByCollection(Object value) {
        return value instanceof Object[]
                ? Arrays.stream((Object[]) value).anyMatch(this::leadsByCollection)
                : content(value) != null && leading.contains(value);
    }

    private boolean isHidden(Object object) {
        return hasVariables(object) && !known.holders.containsKey(object);
    }

    /** Null for what is no collection of Java's, whose methods would be foreign code. */
    private static Collection<?> content(Object value) {
        if (value == null || !ClassFields.isOfJava(value.getClass())) {
            return null;
        }
        if (value instanceof Map) {
            return Arrays.asList(((Map<?, ?>) value).keySet(), ((Map<?, ?>) value).values());
        }
        return value instanceof Optional
                ? Collections.singleton(((Optional<?>) value).orElse(null))
                : value instanceof Collection ? (Collection<?>) value : null;
    }

    private void reach(Object object, Object holder) {
        if (object instanceof Object[] || mayHaveVariables(object)
                || known != null && content(object) != null) {
            holders.computeIfAbsent(object, unknown -> {
                reached.add(unknown);
                return new ArrayList<>(1);
            }).add(holder);
        }
    }

    /** Reaches what an object holds; true if it has variables itself or something is missing. */
    private boolean lookInto(Object object) {
        if (object instanceof Object[]) {
            boolean missing = false;
            for (Object element : (Object[]) object) {
                reach(element, object);
                missing |= element == null;
            }
            return missing && leads(null, object.getClass().getComponentType());
        }
        Collection<?> content = content(object);
        if (content != null) {
            content.forEach(element -> reach(element, object));
        }
        boolean incomplete = false;
        for (Class<?> c = object.getClass(); !ClassFields.isOfJava(c); c = c.getSuperclass()) {
            for (Field field : ClassFields.of(c).fields) {
                Object value = get(field, object);
                reach(value, object);
                incomplete |= value == null && leads(null, field.getType());
            }
        }
        return incomplete || hasVariables(object);
    }

    private static Object get(Field field, Object owner) {
        try {
            return field.getType().isPrimitive() ? null : field.get(owner);
        } catch (IllegalAccessException e) {
            throw new AssertionError(e); // fields are made accessible when they are found
        }
    }

    private static boolean hasVariables(Object object) {
        for (Class<?> c = object.getClass(); !ClassFields.isOfJava(c); c = c.getSuperclass()) {
            if (ClassFields.of(c).hasVariables) {
                return true;
            }
        }
        return false;
    }

    /** A lambda, whose class is the compiler's, holds what it uses and not what it is made of. */
    private static boolean mayHaveVariables(Object object) {
        return object != null && !ClassFields.isOfJava(object.getClass())
                && !object.getClass().isSynthetic();
    }

    private static boolean isMadeOfParts(Class<?> type, Set<Class<?>> visited) {
        if (type.isArray()) {
            return isMadeOfParts(type.getComponentType(), visited);
        }
        for (Class<?> c = type; !ClassFields.isOfJava(c) && visited.add(c); c = c.getSuperclass()) {
            ClassFields declared = ClassFields.of(c);
            if (declared.hasVariables || declared.fields.stream()
                    .anyMatch(field -> isMadeOfParts(field.getType(), visited))) {
                return true;
            }
        }
        return false;
    }
}
