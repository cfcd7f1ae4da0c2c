package com.zelvox.qorbetta;

import java.io.File;
import java.io.IOException;
import java.io.StringWriter;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import javax.lang.model.SourceVersion;
import javax.tools.JavaCompiler;
import javax.tools.StandardJavaFileManager;
import javax.tools.StandardLocation;
import javax.tools.ToolProvider;

/**
 * Compiles the Java files of a model for the packer, with the compiler of the JDK whose JVM this is.
 *
 * <p>Question and answer are lists of texts as those of {@link ModelReport}. The question: the
 * version of Java to compile for or nothing for the oldest possible, the directory for the classes,
 * how many jars and directories of classes the files may use beside the JVM's class path, these, and
 * the files. The answer: a sentence that says what is wrong, or nothing. What the compiler says is
 * printed as {@code javac} does.
 */
final class ModelCompiler {
    private static final int OLDEST = 8; // which the class files of this package are made for

    private ModelCompiler() {
    }

    /** Called by the packer. Throws nothing. */
    static byte[] answer(byte[] question) {
        String problem;
        try {
            List<String> texts = Arrays.asList(
                    new String(question, StandardCharsets.UTF_8).split("\0", -1));
            int files = 3 + Integer.parseInt(texts.get(2));
            problem = Javac.compile(texts.get(0), new File(texts.get(1)),
                    texts.subList(3, files), texts.subList(files, texts.size() - 1));
        } catch (NoClassDefFoundError e) {
            problem = noCompiler(); // a JVM without the module java.compiler
        } catch (Throwable e) {
            problem = "the Java files cannot be compiled: " + Reason.of(e).replace('\0', ' ');
        }
        return (problem + '\0').getBytes(StandardCharsets.UTF_8);
    }

    /** Whatever stands in a source that the compiler quotes, terminals get text only. */
    private static void print(String said) {
        byte[] text = said.replaceAll("[\\p{Cc}\\p{Cf}&&[^\\n\\t]]", " ")
                .getBytes(StandardCharsets.UTF_8);
        System.err.write(text, 0, text.length);
        System.err.flush();
    }

    private static String noCompiler() {
        return "the JVM in " + System.getProperty("java.home") + " has no compiler; install"
                + " default-jdk-headless, or let JAVA_HOME name a JDK";
    }

    /** Apart from the rest, which a JVM without the module java.compiler can load. */
    private static final class Javac {
        static String compile(String release, File classes, List<String> classPath,
                List<String> files) throws IOException {
            JavaCompiler compiler = ToolProvider.getSystemJavaCompiler();
            if (compiler == null) {
                return noCompiler();
            }
            int oldest = Math.max(OLDEST, Collections.min(compiler.getSourceVersions()).ordinal());
            String version = release.isEmpty() ? String.valueOf(oldest) : release;
            boolean modern = compiler.isSupportedOption("--release") == 1; // not in Java 8
            List<String> options = new ArrayList<>(modern
                    ? Arrays.asList("--release", version)
                    : Arrays.asList("-source", version, "-target", version));
            // No word about old versions of Java, no code that libraries bring for compilers, and all
            // that debuggers show.
            options.addAll(Arrays.asList("-Xlint:-options", "-proc:none", "-implicit:none", "-g"));
            StringWriter said = new StringWriter();
            boolean done;
            try (StandardJavaFileManager manager =
                    compiler.getStandardFileManager(null, null, StandardCharsets.UTF_8)) {
                List<File> path = new ArrayList<>();
                for (String entry : System.getProperty("java.class.path").split(File.pathSeparator)) {
                    path.add(new File(entry));
                }
                classPath.forEach(entry -> path.add(new File(entry)));
                manager.setLocation(StandardLocation.CLASS_PATH, path);
                manager.setLocation(StandardLocation.SOURCE_PATH, Collections.emptyList());
                manager.setLocation(StandardLocation.CLASS_OUTPUT, Collections.singleton(classes));
                done = compiler.getTask(said, manager, null, options, null,
                        manager.getJavaFileObjectsFromStrings(files)).call();
            } catch (IllegalArgumentException e) {
                return "--release " + version + ": " + Reason.of(e);
            }
            print(said.toString());
            String java = System.getProperty("java.specification.version");
            return done ? "" : "the model does not compile for Java " + version
                    + (release.isEmpty() && modern && !version.equals(java)
                    ? "; if it is of a newer one, say --release " + java : "");
        }
    }
}
