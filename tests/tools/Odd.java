import com.zelvox.qorbetta.Model;
import com.zelvox.qorbetta.ModelDescription;
import com.zelvox.qorbetta.Unit;

/**
 * A model that says what it was asked to do, with names that no file format likes. The parameters
 * make it misbehave in a run, the system properties {@code odd} and {@code name} in its description.
 */
public class Odd implements Model {
    private static final double NEVER = Double.MAX_VALUE;

    private final String mood = System.getProperty("odd", "");
    private final double[] parameters = new double[4];

    @Override
    public ModelDescription describe() {
        ModelDescription.Builder odd = ModelDescription
                .named(System.getProperty("name", "Prüfstand <1> & 𝄞"))
                .describedAs("All that is \"odd\",\nin two lines")
                .author("Ann & Bö").copyright("(c) Ann").license("<free>");
        switch (mood) {
            case "null": return null;
            case "empty": return ModelDescription.named("Empty").build();
            case "throws": throw new IllegalStateException("no idea\nwhat I am");
            case "exit": System.exit(0); break;
            case "hangs": hang(); break;
            case "slips": parameters[4] = 0; break;
            case "surrogate": odd.input("a\uD834", "", "", 0); break;
            case "nan": odd.output("a", "", "", Double.NaN); break;
            case "displayed": odd.output("a", "kN", "").displayUnit("kg"); break;
            case "ambiguous": Unit.of("kN").display("N", 1).display("N", 2); break;
            case "changing": odd.input("a" + System.nanoTime(), "", "", 0); break;
            default: break;
        }
        return odd
                .unit(Unit.of("°C").K(1).offset(273.15).display("°F", 5 / 9.0, 459.67 * 5 / 9))
                .unit(Unit.of("kN").kg(1).m(1).s(-2).factor(1000).display("lbf", 4.4482216152605)
                        .display("N", 1))
                .input("in, \"quoted\"", "°C", "<&>", 0.1).range(-273.15, 1e300).displayUnit("°F")
                .input("held", "flock", "", -1.5)
                .output("Größe", "kN", "input of the last step").range(1e-9, 1e9).nominal(1e-3)
                .displayUnit("N")
                .output("länger 🐦", "", "end of the last step", 7)
                .output("step", "s", "length of the last step")
                .output("gained", "", "gain times held")
                .parameter("gain", "", "", 1.0 / 3)
                .parameter("fail at", "s", "", NEVER)
                .parameter("exit at", "s", "", NEVER)
                .parameter("sleep", "ms", "in each step", 0).range(0, 1000)
                .experiment(-1, 1, 0.25, 1e-5)
                .build();
    }

    private static void hang() {
        System.err.println("hangs");
        while (true) {
            Thread.yield();
        }
    }

    @Override
    public void set(int parameter, double value) {
        if (mood.equals("refuses")) {
            throw new IllegalArgumentException("not that");
        }
        parameters[parameter] = value;
    }

    @Override
    public void initialize(double[] inputs, double[] outputs) {
        report(Double.NaN, 0, inputs, outputs);
    }

    @Override
    public void step(double time, double stepSize, double[] inputs, double[] outputs)
            throws InterruptedException {
        if (time >= parameters[1]) {
            throw new IllegalStateException("the belt\ntore at 100 %d");
        }
        if (time >= parameters[2]) {
            System.exit(0);
        }
        if (mood.equals("sticks") && time >= 0.5) {
            hang();
        }
        Thread.sleep((long) parameters[3]);
        report(time + stepSize, stepSize, inputs, outputs);
    }

    @Override
    public void free() {
        if (mood.equals("tells")) {
            System.err.println("freed");
        }
    }

    private void report(double time, double stepSize, double[] inputs, double[] outputs) {
        outputs[0] = inputs[0];
        outputs[1] = time;
        outputs[2] = stepSize;
        outputs[3] = parameters[0] * inputs[1];
    }
}
